#include "FollowedFile.h"

#include "StopSwitch.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>

#include <sys/stat.h>

namespace {

// Some file systems don't report changes made elsewhere.
constexpr int longestWaitMsecs = 1000;

} // namespace

FollowedFile::FollowedFile(const QString& path, int quietMsecs, const StopSwitch& stop)
    : InputFile(path, stop), m_quietMsecs(quietMsecs), m_quietPosition(-1), m_waitedEnough(false)
{
    enableNonBlockingMode(false);
}

bool FollowedFile::openInput()
{
    if (!InputFile::openInput())
        return false;
    if (isSequential())
        return refuse(QStringLiteral("Only a regular file can be followed"));
    m_watcher.addPath(path());
    return true;
}

qint64 FollowedFile::expectedSize() const
{
    return -1;
}

QString FollowedFile::failure() const
{
    const QString failure = InputFile::failure();
    const QString reason = failure.isEmpty() && !expired() ? loss() : QString();
    return reason.isEmpty() ? failure : QStringLiteral("cannot follow %1: %2").arg(name(), reason);
}

bool FollowedFile::atEnd() const
{
    const bool over = expired() || stopSwitch().stopped() || !loss().isEmpty();
    return over && !grown();
}

bool FollowedFile::waitForReadyRead(int msecs)
{
    if (m_quietPosition != pos()) {
        m_quietPosition = pos();
        m_quiet.start();
    }
    const qint64 rest = m_quietMsecs - m_quiet.elapsed();
    m_waitedEnough = rest <= 0;
    if (rest > 0 && !grown())
        waitForChange(int(std::min<qint64>({rest, msecs, longestWaitMsecs})));
    return grown();
}

/** Whether the file has not grown for long enough; it may have since, see grown(). */
bool FollowedFile::expired() const
{
    return m_waitedEnough && m_quietPosition == pos();
}

bool FollowedFile::grown() const
{
    return size() > pos();
}

/**
 * Why no growth can be expected any more; empty when it can. The open file tells, not its name: a
 * log that is rotated away is written on under another name. What came right before the loss is
 * found by who asks grown() after this.
 */
QString FollowedFile::loss() const
{
    struct stat opened = {};
    if (::fstat(handle(), &opened) != 0)
        return QStringLiteral("it is out of reach");
    if (opened.st_nlink == 0)
        return QFileInfo::exists(path()) ? QStringLiteral("it was replaced before it was complete")
                                         : QStringLiteral("it was removed before it was complete");
    return opened.st_size < pos() ? QStringLiteral("it was cut short while it was read")
                                  : QString();
}

void FollowedFile::waitForChange(int msecs)
{
    QEventLoop loop;
    QSocketNotifier stopped(stopSwitch().descriptor(), QSocketNotifier::Read);
    connect(&stopped, &QSocketNotifier::activated, &loop, &QEventLoop::quit);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, &loop, &QEventLoop::quit);
    QTimer::singleShot(msecs, &loop, &QEventLoop::quit);
    loop.exec();
}
