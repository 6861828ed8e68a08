#include <Quarn/access/SecretText_p.h>

#include <Quarn/platform/SecretMemory_p.h>

#include <QString>

#include <openssl/crypto.h>

#include <new>

namespace kel {
namespace {

wchar_t* allocate(std::size_t size)
{
    void* const memory = allocateSecretMemory(size);
    if (!memory)
        throw std::bad_alloc();
    return static_cast<wchar_t*>(memory);
}

/** Of memory that holds \a text; not 0, as no system maps nothing. */
std::size_t sizeFor(const std::wstring& text)
{
    return (text.size() + 1) * sizeof(wchar_t);
}

} // namespace

SecretText::SecretText(const std::wstring& text)
    : m_text(allocate(sizeFor(text)), Free{sizeFor(text)}), m_length(text.size())
{
    text.copy(m_text.get(), m_length);
}

bool SecretText::operator==(const std::wstring& text) const noexcept
{
    return text.size() == m_length && text.compare(0, m_length, m_text.get(), m_length) == 0;
}

void SecretText::Free::operator()(wchar_t* text) const noexcept
{
    freeSecretMemory(text, size);
}

void wipe(std::wstring& text) noexcept
{
    text.resize(text.capacity()); // stays where it is
    OPENSSL_cleanse(text.data(), text.size() * sizeof(wchar_t));
    text.clear();
}

void wipe(QString& text) noexcept
{
    if (text.isEmpty())
        return;
    OPENSSL_cleanse(text.data(), std::size_t(text.size()) * sizeof(QChar));
    text.clear();
}

} // namespace kel
