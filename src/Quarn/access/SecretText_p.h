#ifndef QUARN_ACCESS_SECRETTEXT_P_H
#define QUARN_ACCESS_SECRETTEXT_P_H

#include <cstddef>
#include <memory>
#include <string>

class QString;

namespace kel {

/**
 * \brief A text in secret memory, wiped when it is replaced or destroyed.
 *
 * Unlike a std::wstring it leaves no copy behind: it never grows and never moves its characters.
 */
class SecretText
{
public:
    /** \throws std::bad_alloc */
    explicit SecretText(const std::wstring& text);

    bool operator==(const std::wstring& text) const noexcept;

private:
    struct Free
    {
        std::size_t size; // in bytes
        void operator()(wchar_t* text) const noexcept;
    };

    std::unique_ptr<wchar_t[], Free> m_text;
    std::size_t m_length;
};

/** Overwrites \a text, up to its capacity, and leaves it empty. */
void wipe(std::wstring& text) noexcept;

/** Overwrites \a text, which must be the only owner of its characters, and leaves it empty. */
void wipe(QString& text) noexcept;

} // namespace kel
#endif
