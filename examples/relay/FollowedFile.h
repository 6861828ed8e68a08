#ifndef RELAY_FOLLOWEDFILE_H
#define RELAY_FOLLOWEDFILE_H

#include "InputFile.h"

#include <QElapsedTimer>
#include <QFileSystemWatcher>

/**
 * \brief A file that another program is still writing.
 *
 * In blocking mode, which is on: a read at the end of the file waits until the file grows. The
 * input ends when that has not happened for a while, and fails when the file is removed, replaced
 * or cut short meanwhile; one that is renamed is followed on. Open and read it in one thread; a waiting read processes its events.
 */
class FollowedFile : public InputFile
{
public:
    FollowedFile(const QString& path, int quietMsecs, const StopSwitch& stop);

    bool openInput() override;
    qint64 expectedSize() const override;
    QString failure() const override;

    /** Whether nothing more is expected. */
    bool atEnd() const override;
    bool waitForReadyRead(int msecs) override;

private:
    bool expired() const;
    bool grown() const;
    QString loss() const;
    void waitForChange(int msecs);

    const int m_quietMsecs;
    QFileSystemWatcher m_watcher;
    QElapsedTimer m_quiet; // since the first read that found nothing at m_quietPosition
    qint64 m_quietPosition;
    bool m_waitedEnough; // at m_quietPosition
};

#endif
