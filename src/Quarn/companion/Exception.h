#ifndef QUARN_COMPANION_EXCEPTION_H
#define QUARN_COMPANION_EXCEPTION_H

#include <Quarn/quarn_export.h>

#include <exception>
#include <memory>
#include <string>

namespace kel {

/**
 * \brief Root of the exceptions; carries the text that what() returns.
 *
 * \par Threads
 * what() may be called from several threads at once, as happens with std::exception_ptr.
 */
class QUARN_EXPORT Exception : public std::exception
{
public:
    /** \a text, in UTF-8, is what generateWhat() answers. */
    explicit Exception(const std::string& text = std::string());
    Exception(const Exception& other);
    /** Takes over the contents; a text that what() returned before is gone. */
    Exception& operator=(const Exception& other);
    ~Exception() override;

    /**
     * The text of generateWhat(), made at the first call and valid until this object is
     * assigned to or destroyed. UTF-8.
     */
    const char* what() const noexcept override;

    /** Replaces \a text by a description of the failure in UTF-8. */
    virtual void generateWhat(std::string& text) const;

private:
    std::string m_text;
    mutable std::shared_ptr<const std::string> m_what; // accessed by atomic operations only
};

} // namespace kel
#endif
