#include <Quarn/companion/StandardErrorBuffer_p.h>

#include <QString>

#include <cstdio>

namespace kel {

StandardErrorBuffer::int_type StandardErrorBuffer::overflow(int_type character)
{
    if (!traits_type::eq_int_type(character, traits_type::eof()))
        m_pending += traits_type::to_char_type(character);
    return traits_type::not_eof(character);
}

int StandardErrorBuffer::sync()
{
    const QByteArray bytes = QString::fromStdWString(m_pending).toLocal8Bit();
    m_pending.clear();
    const auto size = std::size_t(bytes.size());
    return std::fwrite(bytes.constData(), 1, size, stderr) == size ? std::fflush(stderr) : -1;
}

} // namespace kel
