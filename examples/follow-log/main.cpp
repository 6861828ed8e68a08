// Shows the lines of a log as another program writes them. A log that is emptied is read from its
// beginning; one that is replaced or removed, when there is a new one.
//     follow-log /var/log/syslog error
// shows those that contain the word "error". A number of seconds behind that ends it when the log has
// been quiet for so long.

#include <Quarn/streams/FileStream.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QStringList>
#include <QThread>

#include <algorithm>
#include <cstdio>

namespace {

void show(const QByteArray& line, const QByteArray& word)
{
    if (!line.contains(word))
        return;
    std::fwrite(line.constData(), 1, std::size_t(line.size()), stdout);
    std::fflush(stdout);
}

//! [follow]
/** Shows what is written to the file, until nothing more can come. */
kel::FileStream::FollowEnd follow(kel::FileStream& log, int quietMsecs, const QByteArray& word)
{
    log.follow(quietMsecs); // from now on reads wait for growth
    for (QByteArray line; !(line = log.readLine()).isEmpty();)
        show(line, word);
    return log.followEnd();
}
//! [follow]

int followAll(const QString& path, int quietMsecs, const QByteArray& word)
{
    using End = kel::FileStream::FollowEnd;
    for (;;) {
        kel::FileStream log(path, QIODevice::ReadOnly | QIODevice::Unbuffered);
        if (!log.isOpen()) {
            std::fprintf(stderr, "%s\n", qPrintable(log.failureText()));
            return 1;
        }
        switch (follow(log, quietMsecs, word)) {
        case End::Removed: // until there is a new one
            for (int tries = 0; !QFileInfo::exists(path) && tries < 100; ++tries)
                QThread::msleep(100);
            std::fprintf(stderr, "-- replaced\n");
            break;
        case End::CutShort:
            std::fprintf(stderr, "-- emptied\n");
            break;
        case End::Quiet:
            return 0;
        default:
            std::fprintf(stderr, "%s: can't be followed any more\n", qPrintable(path));
            return 1;
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2) {
        std::fprintf(stderr, "Usage: follow-log FILE [WORD [SECONDS]]\n");
        return 2;
    }
    const double seconds = arguments.value(3, QStringLiteral("-1")).toDouble();
    return followAll(arguments.at(1), seconds < 0 ? -1 : int(std::min(seconds, 1e6) * 1000),
                     arguments.value(2).toLocal8Bit());
}
