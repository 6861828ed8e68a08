#include <Quarn/companion/QtLogBuffer_p.h>

#include <QDebug>
#include <QLoggingCategory>
#include <QString>

#include <utility>

namespace kel {
namespace {

Q_LOGGING_CATEGORY(category, "quarn")

} // namespace

QtLogBuffer::QtLogBuffer(QtMsgType type) : m_type(type)
{
    category(); // goes after this buffer then
}

void QtLogBuffer::write(const std::wstring& line) const
{
    if (!category().isEnabled(m_type))
        return;
    const QByteArray text = QString::fromStdWString(line).toUtf8();
    const QMessageLogger logger(nullptr, 0, nullptr, category().categoryName());
    if (m_type == QtWarningMsg)
        logger.warning("%s", text.constData());
    else
        logger.critical("%s", text.constData());
}

QtLogBuffer::int_type QtLogBuffer::overflow(int_type character)
{
    if (!traits_type::eq_int_type(character, traits_type::eof()))
        m_pending += traits_type::to_char_type(character);
    return traits_type::not_eof(character);
}

int QtLogBuffer::sync()
{
    std::wstring lines = std::exchange(m_pending, std::wstring());
    if (!lines.empty() && lines.back() == L'\n')
        lines.pop_back(); // Qt ends the line
    if (!lines.empty())
        write(lines);
    return 0;
}

} // namespace kel
