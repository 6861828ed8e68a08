#include <Quarn/streams/FileStream.h>

#include <Quarn/platform/FileWatch_p.h>
#include <Quarn/platform/OpenFileState_p.h>
#include <Quarn/platform/SystemPath_p.h>

#include <algorithm>
#include <limits>

namespace kel {
namespace {

constexpr int longestMsecs = 1000; // of a wait for growth

} // namespace

FileStream::FileStream(const QString& path, QObject* parent)
    : kelmQFile(path, parent), m_cancelled(false), m_quietMsecs(0), m_quietPosition(-1),
      m_waitedEnough(false), m_waitedNsecs(0)
{ }

FileStream::FileStream(const QString& path, OpenMode mode, QObject* parent)
    : FileStream(path, parent)
{
    FileStream::open(mode);
}

FileStream::~FileStream() = default;

bool FileStream::open(OpenMode mode)
{
    if (hasSystemForm(fileName()))
        return kelmQFile::open(mode);
    setErrorString(QStringLiteral("The path has a zero character"));
    return false;
}

void FileStream::close()
{
    kelmQFile::close();
    if (isOpen()) // a read waits, and the file is closed after it
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_watch.reset();
}

QString FileStream::failureText() const
{
    return ioFailureDetected() ? fileName() + QStringLiteral(": ") + errorString() : QString();
}

bool FileStream::follow(int quietMsecs)
{
    if (!readable() || isSequential() || handle() < 0)
        return false;
    auto watch = std::make_unique<FileWatch>(handle());
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_watch.swap(watch);
    }
    m_quietMsecs = quietMsecs < 0 ? std::numeric_limits<qint64>::max() : quietMsecs;
    m_quietPosition = -1;
    m_waitedEnough = false;
    enableNonBlockingMode(false);
    return true;
}

FileStream::FollowEnd FileStream::followEnd() const
{
    // In this order: what came right before the end is found after it.
    const FollowEnd reason = m_watch ? reasonToEnd() : FollowEnd::None;
    return reason == FollowEnd::None || hasGrown() ? FollowEnd::None : reason;
}

void FileStream::cancel()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_cancelled = true;
    if (m_watch)
        m_watch->wake();
}

bool FileStream::cancelled() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_cancelled;
}

bool FileStream::atEnd() const
{
    return m_watch ? followEnd() != FollowEnd::None : kelmQFile::atEnd();
}

bool FileStream::waitForReadyRead(int msecs)
{
    if (!m_watch)
        return kelmQFile::waitForReadyRead(msecs);
    QElapsedTimer waited;
    waited.start();
    if (m_quietPosition != pos()) {
        m_quietPosition = pos();
        m_quiet.start();
    }
    const qint64 rest = m_quietMsecs - m_quiet.elapsed();
    m_waitedEnough = rest <= 0;
    if (!m_waitedEnough && !hasGrown() && !cancelled())
        m_watch->wait(int(std::min<qint64>(rest, msecs < 0 ? longestMsecs : msecs)));
    m_waitedNsecs += waited.nsecsElapsed();
    return hasGrown();
}

FileStream::FollowEnd FileStream::reasonToEnd() const
{
    const OpenFileState state = openFileState(handle());
    if (!state.isKnown)
        return FollowEnd::Lost;
    if (state.size < pos())
        return FollowEnd::CutShort;
    if (state.isRemoved)
        return FollowEnd::Removed;
    if (cancelled())
        return FollowEnd::Cancelled;
    return m_waitedEnough && m_quietPosition == pos() ? FollowEnd::Quiet : FollowEnd::None;
}

bool FileStream::hasGrown() const
{
    return size() > pos();
}

void FileStream::setThroughputStats(quint64 bytesRead, quint64 bytesWritten, quint64 readNsecs,
                                    quint64 writeNsecs)
{
    m_read = Figures{bytesRead, readNsecs};
    m_written = Figures{bytesWritten, writeNsecs};
}

bool FileStream::getThroughputStats(quint64& bytesRead, quint64& bytesWritten, quint64& readNsecs,
                                    quint64& writeNsecs) const
{
    bytesRead = m_read.bytes;
    bytesWritten = m_written.bytes;
    readNsecs = m_read.nsecs;
    writeNsecs = m_written.nsecs;
    return true;
}

qint64 FileStream::readData(char* data, qint64 maxSize)
{
    QElapsedTimer timer;
    timer.start();
    m_waitedNsecs = 0;
    const qint64 count = kelmQFile::readData(data, maxSize);
    m_read.nsecs += quint64(std::max<qint64>(timer.nsecsElapsed() - m_waitedNsecs, 0));
    m_read.bytes += quint64(std::max<qint64>(count, 0));
    if (count != 0 || maxSize <= 0)
        return count;
    const FollowEnd end = followEnd();
    if (end != FollowEnd::CutShort && end != FollowEnd::Lost)
        return count;
    setErrorString(end == FollowEnd::Lost ? QStringLiteral("The file is out of reach")
                                          : QStringLiteral("The file was cut short"));
    return -1;
}

qint64 FileStream::writeData(const char* data, qint64 size)
{
    QElapsedTimer timer;
    timer.start();
    const qint64 count = kelmQFile::writeData(data, size);
    m_written.nsecs += quint64(timer.nsecsElapsed());
    m_written.bytes += quint64(std::max<qint64>(count, 0));
    return count;
}

} // namespace kel
