#include <Quarn/signature/DataSource_p.h>

#include <Quarn/companion/deviceFailure_p.h>
#include <Quarn/companion/narrow_p.h>
#include <Quarn/interfaces/IIOInterface.h>
#include <Quarn/signature/ChunkFeeder_p.h>
#include <Quarn/signature/StrictFile_p.h>
#include <Quarn/signature/openSsl_p.h>

#include <QIODevice>

namespace kel {
namespace {

constexpr int longestWaitMsecs = 30000;

[[noreturn]] void refuseData()
{
    throw IOException(QStringLiteral("Could not read data"));
}

/** Reads from \a device, which had \a size bytes when it began; -1 for one that can't tell. */
int readDevice(QIODevice& device, qint64 size, char* data, int wanted)
{
    qint64 count = device.read(data, wanted);
    if (count == 0 && device.isSequential() && device.waitForReadyRead(longestWaitMsecs))
        count = device.read(data, wanted);
    if (count > wanted)
        refuseData();
    if (count <= 0
        && (isDeviceFailure(device.errorString()) || !device.atEnd() || device.pos() < size))
        refuseData();
    return narrow(std::max(count, qint64(0)));
}

int readStream(IIOInterface& stream, char* data, int wanted)
{
    const int count = stream.read(data, wanted);
    const bool atEnd = count == 0 && stream.eofEncountered() && !stream.ioFailureDetected();
    if (count > wanted || (count <= 0 && !atEnd))
        refuseData();
    return count;
}

/** What calls of \a read give, and the progress of that. */
class CountedReads
{
public:
    CountedReads(const DataSource& source, const TransferProgress& progress)
        : m_source(source), m_progress(progress)
    { }

    /** As many bytes as \a size while there are so many. */
    int fill(char* data, int size)
    {
        int filled = 0;
        while (filled < size) {
            const int count = m_source.read(data + filled, size - filled);
            if (count == 0)
                break;
            filled += count;
            m_done += count;
            if (m_progress && !m_progress(m_done, m_source.size))
                fail("Cancelled");
        }
        return filled;
    }

private:
    const DataSource& m_source;
    const TransferProgress& m_progress;
    qint64 m_done = 0;
};

} // namespace

DataSource sourceFrom(StrictFile& file)
{
    return {[&file](char* data, int wanted) { return file.read(data, wanted); }, file.size()};
}

DataSource sourceFrom(QIODevice* device)
{
    if (!device || !device->isReadable())
        refuseData();
    const qint64 size = device->isSequential() ? -1 : device->size();
    return {[=](char* data, int wanted) { return readDevice(*device, size, data, wanted); },
            size < 0 ? -1 : std::max(size - device->pos(), qint64(0))};
}

DataSource sourceFrom(const boost::shared_ptr<IIOInterface>& stream)
{
    if (!stream)
        refuseData();
    return {[stream](char* data, int wanted) { return readStream(*stream, data, wanted); }, -1};
}

void digestAll(const DataSource& source, EVP_MD_CTX* context, const TransferProgress& progress)
{
    CountedReads reads(source, progress);
    ChunkFeeder feeder([context](const char* data, std::size_t size) {
        const ErrorMark mark;
        return EVP_DigestUpdate(context, data, size) == 1;
    });
    int count;
    do {
        count = reads.fill(feeder.room(), ChunkFeeder::chunkSize);
        if (count > 0)
            feeder.feed(count);
    } while (count == ChunkFeeder::chunkSize);
    require(feeder.finish());
}

QByteArray allOf(const DataSource& source, qint64 maxSize, const TransferProgress& progress)
{
    constexpr int pieceSize = 1 << 20;
    CountedReads reads(source, progress);
    QByteArray data;
    int count;
    do {
        if (data.size() > maxSize || source.size > maxSize)
            fail("Too much data for this scheme");
        const int size = narrow(data.size());
        data.resize(size + pieceSize);
        count = reads.fill(data.data() + size, pieceSize);
        data.resize(size + count);
    } while (count == pieceSize);
    if (data.size() > maxSize)
        fail("Too much data for this scheme");
    return data;
}

} // namespace kel
