#ifndef QUARN_ACCESS_ASYNCFILEREQUEST_P_H
#define QUARN_ACCESS_ASYNCFILEREQUEST_P_H

#include <Quarn/access/AsyncFile.h>
#include <Quarn/companion/Promise_p.h>

namespace kel {

/** What an AsyncFile was asked for, and the promise to do it. */
struct AsyncFileRequest
{
    enum Kind { Open, Read, Write, Seek, Flush, Close };

    explicit AsyncFileRequest(Kind what) : kind(what) { }

    bool isTakenBack() const { return takenBack || promise.isCanceled(); }

    Kind kind;
    Promise<AsyncFileResult> promise;
    QIODevice::OpenMode mode;
    QByteArray data; // to be written
    qint64 number = 0; // the position to seek; how much to read
    bool takenBack = false; // told by the queue, which cancels the promise a little later
};

} // namespace kel
#endif
