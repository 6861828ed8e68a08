#include <Quarn/companion/Log.h>

#include <Quarn/companion/MutexLocker.h>
#include <Quarn/companion/QtLogBuffer_p.h>

#include <QDateTime>
#include <QString>

#include <memory>
#include <ostream>

namespace kel {
namespace {

/** The name of a level that has a stream. */
const wchar_t* nameOf(Log::ELevel level)
{
    constexpr const wchar_t* names[] = {L"debug", L"information", L"warning", L"error"};
    return names[level];
}

/** Where the lines of a level go that the application gave no stream of its own. */
struct QtLog
{
    explicit QtLog(QtMsgType type) : buffer(type), stream(&buffer) { }

    QtLogBuffer buffer;
    std::wostream stream;
};

QtLog& qtWarnings()
{
    static QtLog log(QtWarningMsg);
    return log;
}

QtLog& qtErrors()
{
    static QtLog log(QtCriticalMsg);
    return log;
}

/** The one that \a stream belongs to; null when it is the application's. */
QtLog* qtLogOf(const std::wostream* stream)
{
    for (QtLog* const log : {&qtWarnings(), &qtErrors()})
        if (stream == &log->stream)
            return log;
    return nullptr;
}

std::wostream& nowhere()
{
    static std::wostream stream(nullptr);
    return stream;
}

std::wstring onOneLine(std::wstring text)
{
    for (wchar_t& character : text)
        if (character < 0x20 || (character >= 0x7f && character < 0xa0) || character == 0x2028
            || character == 0x2029)
            character = L' ';
    return text;
}

} // namespace

Log::Log()
    : m_streams{nullptr, nullptr, &qtWarnings().stream, &qtErrors().stream}, m_logLevel(Warning)
{ }

Log::~Log() = default;

Log& Log::instance()
{
    static Log log;
    return log;
}

Log::ELevel Log::logLevel() const
{
    return m_logLevel;
}

void Log::setLogLevel(ELevel level)
{
    m_logLevel = level;
}

std::wostream* Log::getStream(ELevel level) const
{
    const auto index = std::size_t(level);
    return index < m_streams.size() ? m_streams[index].load() : nullptr;
}

void Log::setStream(ELevel level, std::wostream* stream)
{
    const MutexLocker locker(m_mutex, true);
    const auto index = std::size_t(level);
    if (index < m_streams.size())
        m_streams[index] = stream;
}

Mutex& Log::mutex()
{
    return m_mutex;
}

std::wostream& Log::pre(ELevel level)
{
    std::wostream* const stream = getStream(level);
    if (!stream)
        return nowhere();
    if (qtLogOf(stream))
        return *stream;
    try {
        const QString now
            = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
        *stream << now.toStdWString() << L" [" << nameOf(level) << L"] ";
    } catch (...) { // as in write()
    }
    return *stream;
}

void Log::write(ELevel level, const std::wstring& line)
{
    const std::wostream* const expected = getStream(level);
    if (!expected || logLevel() > level)
        return;
    try {
        if (const QtLog* const log = qtLogOf(expected))
            log->buffer.write(onOneLine(line)); // unlocked: a message handler is foreign code
        else
            writeToStream(level, onOneLine(line));
    } catch (...) { // a log that fails must not stop what it tells of
    }
}

void Log::writeToStream(ELevel level, const std::wstring& line)
{
    const MutexLocker locker(m_mutex, true);
    std::wostream* const stream = getStream(level); // again: it may have been replaced meanwhile
    if (!stream)
        return;
    const auto restore = [flags = stream->flags()](std::wostream* used) { used->flags(flags); };
    const std::unique_ptr<std::wostream, decltype(restore)> restorer(stream, restore);
    pre(level) << line << std::endl;
}

} // namespace kel
