#include <Quarn/access/SecretText_p.h>

#include <QString>

#include <openssl/crypto.h>

namespace kel {

/** Room for \a length characters; for none it is still some, as no system maps nothing. */
SecretText::Characters SecretText::allocate(std::size_t length, std::pmr::memory_resource& memory)
{
    const std::size_t size = (length + 1) * sizeof(wchar_t);
    return Characters(static_cast<wchar_t*>(memory.allocate(size, alignof(wchar_t))),
                      Free{&memory, size});
}

SecretText::SecretText(const std::wstring& text, std::pmr::memory_resource& memory)
    : m_text(allocate(text.size(), memory)), m_length(text.size())
{
    text.copy(m_text.get(), m_length);
}

SecretText::SecretText(const QString& text, std::pmr::memory_resource& memory)
    : m_text(allocate(std::size_t(text.size()), memory)),
      m_length(std::size_t(text.toWCharArray(m_text.get())))
{ }

bool SecretText::operator==(const std::wstring& text) const noexcept
{
    return text.size() == m_length && text.compare(0, m_length, m_text.get(), m_length) == 0;
}

void SecretText::Free::operator()(wchar_t* text) const noexcept
{
    OPENSSL_cleanse(text, size);
    memory->deallocate(text, size, alignof(wchar_t));
}

void wipe(std::wstring& text) noexcept
{
    text.resize(text.capacity()); // stays where it is
    OPENSSL_cleanse(text.data(), text.size() * sizeof(wchar_t));
    text.clear();
}

} // namespace kel
