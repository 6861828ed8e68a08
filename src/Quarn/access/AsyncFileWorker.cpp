#include <Quarn/access/AsyncFileWorker_p.h>

#include <Quarn/platform/LargePages_p.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace kel {
namespace {

using Requests = std::vector<AsyncFileRequest>;
using Size = decltype(QByteArray().size()); // not the same in Qt 5 and Qt 6

constexpr qint64 pieceSize = 1 << 20; // between two looks whether the request has been cancelled
constexpr qint64 joinedSize = 64 << 10; // of writes that are carried out as one
constexpr std::size_t joinedCount = 1024;
constexpr qint64 unknownSize = 64 << 10; // to begin with, when more is read from who knows what
constexpr qint64 manyPages = 4 << 20; // bytes
constexpr qint64 largestArray = std::numeric_limits<Size>::max() - 64; // Qt's header goes off

AsyncFileResult failure(QFileDevice::FileError error, const QString& text)
{
    return {0, QByteArray(), error, text};
}

AsyncFileResult aborted()
{
    return failure(QFileDevice::AbortError, QStringLiteral("Operation canceled"));
}

AsyncFileResult outOfMemory()
{
    return failure(QFileDevice::ResourceError, QStringLiteral("Out of memory"));
}

AsyncFileResult resultOf(const SystemFile::Outcome& outcome)
{
    return {outcome.count, QByteArray(), outcome.error, outcome.errorString};
}

/** What is said of a request that needs an open file. */
QFileDevice::FileError errorOf(AsyncFileRequest::Kind kind)
{
    switch (kind) {
    case AsyncFileRequest::Read:
        return QFileDevice::ReadError;
    case AsyncFileRequest::Seek:
        return QFileDevice::PositionError;
    default:
        return QFileDevice::WriteError;
    }
}

bool reserve(QByteArray& bytes, qint64 size)
{
    try {
        bytes.reserve(Size(size));
        if (size >= manyPages) // half of the time of a read would go to their faults
            preferLargePages(bytes.constData(), std::size_t(size));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void giveBackSurplus(QByteArray& bytes) noexcept
{
    try {
        if (bytes.size() < bytes.capacity() / 2)
            bytes.squeeze();
    } catch (const std::bad_alloc&) {
        return; // of a pipe nobody could read them again
    }
}

} // namespace

bool AsyncFileWorker::joins(const Requests& batch, const AsyncFileRequest& more) const
{
    const auto isSmallWrite = [](const AsyncFileRequest& request) {
        return request.kind == AsyncFileRequest::Write && request.data.size() <= joinedSize / 4;
    };
    return m_file.isOpen() && m_file.joinsWrites() && batch.size() < joinedCount
           && isSmallWrite(batch.front()) && isSmallWrite(more);
}

void AsyncFileWorker::carryOut(const Requests& batch, SystemFile::Wait& wait,
                               std::vector<AsyncFileResult>& results) noexcept
{
    results.clear();
    if (batch.size() > 1 && m_failure.ok() && join(batch))
        return writeJoined(batch, wait, results);
    for (const AsyncFileRequest& request : batch) {
        try {
            results.push_back(carryOut(request, wait));
        } catch (const std::bad_alloc&) {
            results.push_back(noted(outOfMemory()));
        }
    }
}

AsyncFileResult AsyncFileWorker::carryOut(const AsyncFileRequest& request, SystemFile::Wait& wait)
{
    if (request.isTakenBack())
        return aborted(); // nothing has failed
    switch (request.kind) {
    case AsyncFileRequest::Open:
        return open(request.mode, wait);
    case AsyncFileRequest::Close:
        return close();
    default:
        break;
    }
    if (!m_failure.ok())
        return failure(QFileDevice::AbortError, m_failure.errorString);
    if (!m_file.isOpen())
        return noted(failure(errorOf(request.kind), QStringLiteral("The file is not open")));
    switch (request.kind) {
    case AsyncFileRequest::Read:
        return noted(read(request, wait));
    case AsyncFileRequest::Write:
        return noted(write(request, wait));
    case AsyncFileRequest::Seek:
        return noted(resultOf(m_file.seek(request.number)));
    default:
        return noted(resultOf(m_file.flush()));
    }
}

AsyncFileResult AsyncFileWorker::open(QIODevice::OpenMode mode, SystemFile::Wait& wait)
{
    m_failure = AsyncFileResult();
    if (m_file.isOpen()) {
        const AsyncFileResult closed = resultOf(m_file.close());
        if (!closed.ok())
            return noted(closed);
    }
    return noted(resultOf(m_file.open(m_fileName, mode, wait)));
}

AsyncFileResult AsyncFileWorker::read(const AsyncFileRequest& request, SystemFile::Wait& wait)
{
    const qint64 limit = std::clamp<qint64>(request.number, 0, largestArray);
    const qint64 expected = limit <= unknownSize ? limit : m_file.remaining();
    AsyncFileResult result;
    QByteArray& data = result.data;
    qint64 room = std::min(limit, std::max(expected + 1, unknownSize)); // one more shows the end
    while (result.count < limit && result.ok()) {
        if (result.count > 0 && request.promise.isCanceled()) {
            result.error = QFileDevice::AbortError;
            result.errorString = aborted().errorString;
            break;
        }
        if (result.count == room)
            room = std::min(limit, 2 * room);
        if (!reserve(data, room)) {
            result.error = QFileDevice::ResourceError;
            result.errorString = outOfMemory().errorString;
            break;
        }
        const qint64 piece = std::min(room - result.count, pieceSize);
        data.resize(Size(result.count + piece));
        const SystemFile::Outcome outcome = m_file.read(data.data() + result.count, piece, wait);
        result.count += outcome.count;
        result.error = outcome.error;
        result.errorString = outcome.errorString;
        data.resize(Size(result.count));
        if (outcome.count < piece)
            break;
    }
    giveBackSurplus(data);
    return result;
}

AsyncFileResult AsyncFileWorker::write(const AsyncFileRequest& request, SystemFile::Wait& wait)
{
    const QByteArray& data = request.data;
    AsyncFileResult result;
    while (result.count < data.size() && result.ok()) {
        if (result.count > 0 && request.promise.isCanceled()) {
            result.error = QFileDevice::AbortError;
            result.errorString = aborted().errorString;
            break;
        }
        const qint64 piece = std::min<qint64>(data.size() - result.count, pieceSize);
        const SystemFile::Outcome outcome
            = m_file.write(data.constData() + result.count, piece, wait);
        result.count += outcome.count;
        result.error = outcome.error;
        result.errorString = outcome.errorString;
    }
    return result;
}

/** Closes the file; its result is the first failure of all, as many look at no other. */
AsyncFileResult AsyncFileWorker::close()
{
    const AsyncFileResult closed = m_file.isOpen() ? resultOf(m_file.close()) : AsyncFileResult();
    const AsyncFileResult failed = std::exchange(m_failure, AsyncFileResult());
    return failed.ok() ? closed : failure(failed.error, failed.errorString);
}

/** Whether there was the memory to put the data of \a batch together. */
bool AsyncFileWorker::join(const Requests& batch) noexcept
{
    try {
        m_takenBack.clear();
        m_joined.reserve(joinedSize); // once and for all
        m_joined.resize(0);
        for (const AsyncFileRequest& request : batch) {
            m_takenBack.push_back(request.isTakenBack());
            if (!m_takenBack.back())
                m_joined.append(request.data);
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

/** One write for all; each request gets what there is of its own bytes. */
void AsyncFileWorker::writeJoined(const Requests& batch, SystemFile::Wait& wait,
                                  std::vector<AsyncFileResult>& results)
{
    const SystemFile::Outcome outcome = m_file.write(m_joined.constData(), m_joined.size(), wait);
    qint64 written = outcome.count;
    for (std::size_t i = 0; i < batch.size(); ++i) {
        const qint64 count = std::min<qint64>(batch[i].data.size(), written);
        if (m_takenBack[i])
            results.push_back(aborted());
        else if (!m_failure.ok())
            results.push_back(failure(QFileDevice::AbortError, m_failure.errorString));
        else if (written -= count; count == batch[i].data.size())
            results.push_back({count, QByteArray(), QFileDevice::NoError, QString()});
        else
            results.push_back(noted({count, QByteArray(), outcome.error, outcome.errorString}));
    }
}

/** \a result; a failure keeps what follows from being carried out. */
AsyncFileResult AsyncFileWorker::noted(AsyncFileResult result)
{
    if (!result.ok())
        m_failure = failure(result.error, result.errorString);
    return result;
}

} // namespace kel
