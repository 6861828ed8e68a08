#include "FollowedFile.h"

#include "platform/StopSwitch.h"

#include <QFileInfo>

#include <algorithm>

namespace {

constexpr int askMsecs = 50; // between two looks at the switch

} // namespace

FollowedFile::FollowedFile(const QString& path, int quietMsecs, const StopSwitch& stop)
    : InputFile(path, stop), m_quietMsecs(quietMsecs)
{ }

bool FollowedFile::openInput()
{
    return InputFile::openInput()
           && (follow(m_quietMsecs)
               || refuse(QStringLiteral("Only a regular file can be followed")));
}

qint64 FollowedFile::expectedSize() const
{
    return -1;
}

QString FollowedFile::failure() const
{
    const QString reason = loss();
    return reason.isEmpty() ? InputFile::failure()
                            : QStringLiteral("cannot follow %1: %2").arg(name(), reason);
}

bool FollowedFile::waitForReadyRead(int msecs)
{
    if (stopSwitch().stopped())
        cancel();
    return InputFile::waitForReadyRead(std::min(msecs, askMsecs));
}

/** Why the file ended before its time; empty when it didn't. */
QString FollowedFile::loss() const
{
    switch (followEnd()) {
    case FollowEnd::Removed:
        return QFileInfo::exists(path()) ? QStringLiteral("it was replaced before it was complete")
                                         : QStringLiteral("it was removed before it was complete");
    case FollowEnd::CutShort:
        return QStringLiteral("it was cut short while it was read");
    case FollowEnd::Lost:
        return QStringLiteral("it is out of reach");
    default:
        return QString();
    }
}
