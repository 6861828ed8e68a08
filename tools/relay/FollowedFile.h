#ifndef RELAY_FOLLOWEDFILE_H
#define RELAY_FOLLOWEDFILE_H

#include "InputFile.h"

/**
 * \brief A file that another program is still writing.
 *
 * A read at the end of the file waits until the file grows. The input ends when that has not happened
 * for a while, and fails when the file is removed, replaced or cut short meanwhile; one that is
 * renamed is followed on.
 */
class FollowedFile : public InputFile
{
public:
    FollowedFile(const QString& path, int quietMsecs, const StopSwitch& stop);

    bool openInput() override;
    qint64 expectedSize() const override;
    QString failure() const override;
    bool waitForReadyRead(int msecs) override;

private:
    QString loss() const;

    const int m_quietMsecs;
};

#endif
