#include <Quarn/companion/Log.h>

#include <Quarn/companion/MutexLocker.h>
#include <Quarn/companion/StandardErrorBuffer_p.h>

#include <QDateTime>
#include <QString>

#include <ostream>

namespace kel {
namespace {

const wchar_t* nameOf(Log::ELevel level)
{
    switch (level) {
    case Log::Debug:
        return L"debug";
    case Log::Information:
        return L"information";
    case Log::Warning:
        return L"warning";
    case Log::Error:
        return L"error";
    case Log::Off:
        break;
    }
    return L"";
}

std::wostream& standardError()
{
    static StandardErrorBuffer buffer;
    static std::wostream stream(&buffer);
    return stream;
}

std::wostream& nowhere()
{
    static std::wostream stream(nullptr);
    return stream;
}

} // namespace

Log::Log() : m_logLevel(Warning)
{
    for (std::size_t level = 0; level < m_streams.size(); ++level)
        m_streams[level] = level < Warning ? nullptr : &standardError();
}

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
    const QString now
        = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    return *stream << now.toStdWString() << L" [" << nameOf(level) << L"] ";
}

void Log::write(ELevel level, const std::wstring& line)
{
    if (!getStream(level) || logLevel() > level)
        return;
    const MutexLocker locker(m_mutex, true);
    std::wostream* const stream = getStream(level); // again: it may have been replaced meanwhile
    if (!stream)
        return;
    const std::ios_base::fmtflags flags = stream->flags();
    pre(level);
    for (const wchar_t character : line)
        stream->put(character < 0x20 || (character >= 0x7f && character < 0xa0)
                            || character == 0x2028 || character == 0x2029
                        ? L' '
                        : character);
    *stream << std::endl;
    stream->flags(flags);
}

} // namespace kel
