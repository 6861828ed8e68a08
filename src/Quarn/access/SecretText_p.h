#ifndef QUARN_ACCESS_SECRETTEXT_P_H
#define QUARN_ACCESS_SECRETTEXT_P_H

#include <Quarn/access/SecretPages_p.h>

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
    /**
     * A copy of \a text in \a memory, which must be secret and outlive it.
     *
     * \throws std::bad_alloc
     */
    explicit SecretText(const std::wstring& text,
                        std::pmr::memory_resource& memory = secretPages());
    /** \copydoc SecretText(const std::wstring&, std::pmr::memory_resource&) */
    explicit SecretText(const QString& text, std::pmr::memory_resource& memory = secretPages());

    bool operator==(const std::wstring& text) const noexcept;

private:
    struct Free
    {
        std::pmr::memory_resource* memory;
        std::size_t size; // in bytes
        void operator()(wchar_t* text) const noexcept;
    };
    using Characters = std::unique_ptr<wchar_t[], Free>;

    static Characters allocate(std::size_t length, std::pmr::memory_resource& memory);

    Characters m_text;
    std::size_t m_length;
};

/** Overwrites \a text, up to its capacity, and leaves it empty. */
void wipe(std::wstring& text) noexcept;

} // namespace kel
#endif
