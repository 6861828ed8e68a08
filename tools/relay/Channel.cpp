#include "Channel.h"

#include "platform/spillFolder.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserSpool.h>

#include <boost/make_shared.hpp>

#include <utility>

namespace {

constexpr qint64 bufferLimit = qint64(1) << 31;

/** What both kinds of stream do by the same names. */
template <class Stream>
class ChannelThrough : public Channel
{
public:
    explicit ChannelThrough(boost::shared_ptr<Stream> stream) : m_stream(std::move(stream)) { }

    boost::shared_ptr<kel::IRandomAccessIO> makeReader() const override
    {
        return Stream::createReaderInterface(m_stream, true);
    }

    qint64 size() const override { return m_stream->streamSize(); }
    bool failed() const override { return m_stream->ioFailureDetected(); }

    bool write(const char* data, int size) override { return m_stream->writeBlock(data, size); }
    QString writeFailure() const override { return m_stream->errorString(); }

    void finish(const QString& failure) override
    {
        if (!failure.isEmpty())
            m_stream->setErrorString(failure);
        m_stream->finishIO();
    }

protected:
    const boost::shared_ptr<Stream> m_stream;
};

class BufferChannel : public ChannelThrough<kel::MultiUserBuffer>
{
public:
    BufferChannel() : ChannelThrough(boost::make_shared<kel::MultiUserBuffer>()) { }

    qint64 spilled() const override { return 0; }

    QString refusal(qint64 size) const override
    {
        return size < bufferLimit ? QString() : tooLarge(QStringLiteral("It is too large"), size);
    }

    QString writeFailure() const override
    {
        return tooLarge(ChannelThrough::writeFailure(), size());
    }

private:
    static QString tooLarge(const QString& reason, qint64 size)
    {
        return QStringLiteral("%1 (%2 bytes; --memory all holds just under 2 GiB)")
            .arg(reason, QString::number(size));
    }
};

class SpoolChannel : public ChannelThrough<kel::MultiUserSpool>
{
public:
    explicit SpoolChannel(qint64 memoryLimit)
        : ChannelThrough(boost::make_shared<kel::MultiUserSpool>(settings(memoryLimit)))
    { }

    qint64 spilled() const override { return m_stream->figures().spilled; }
    QString refusal(qint64) const override { return {}; }

private:
    static kel::MultiUserSpoolSettings settings(qint64 memoryLimit)
    {
        kel::MultiUserSpoolSettings settings;
        settings.memoryLimit = memoryLimit;
        settings.keep = kel::MultiUserSpoolSettings::KeepEverything; // for who joins late
        settings.atLimit = kel::MultiUserSpoolSettings::SpillToDisk;
        settings.spillFolder = spillFolder();
        return settings;
    }
};

} // namespace

Channel::~Channel() = default;

std::unique_ptr<Channel> Channel::create(qint64 memoryLimit)
{
    if (memoryLimit == 0)
        return std::make_unique<BufferChannel>();
    return std::make_unique<SpoolChannel>(memoryLimit);
}
