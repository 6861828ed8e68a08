#include "Producer.h"

#include "Channel.h"
#include "FollowedFile.h"
#include "Pace.h"
#include "platform/StopSwitch.h"

#include <exception>
#include <memory>
#include <vector>

namespace {

// Counts as the half of an input of unknown size.
constexpr qint64 assumedHalf = 1 << 20;

QString cannotRelay(const InputFile& input, const QString& reason)
{
    return QStringLiteral("cannot relay %1: %2").arg(input.name(), reason);
}

} // namespace

Producer::Producer(const Options& options, Channel& channel, const StopSwitch& stop)
    : m_options(options), m_channel(channel), m_stop(stop), m_inputSize(-1)
{ }

Producer::~Producer() = default;

qint64 Producer::inputSize() const
{
    return m_inputSize;
}

QString Producer::failure() const
{
    return m_failure;
}

void Producer::run()
{
    try {
        m_failure = relay();
    } catch (const std::exception& exception) {
        m_failure = QString::fromLocal8Bit(exception.what());
    }
    const bool stoppedEarly = m_failure.isEmpty() && m_stop.stopped();
    m_channel.finish(stoppedEarly ? QStringLiteral("stopped") : m_failure);
}

QString Producer::relay()
{
    std::unique_ptr<InputFile> input;
    if (m_options.followMsecs > 0)
        input.reset(new FollowedFile(m_options.input, m_options.followMsecs, m_stop));
    else
        input.reset(new InputFile(m_options.input, m_stop));
    if (!input->openInput())
        return input->failure();
    m_inputSize = input->expectedSize();
    const QString refusal = m_channel.refusal(m_inputSize);
    return refusal.isEmpty() ? relay(*input) : cannotRelay(*input, refusal);
}

QString Producer::relay(InputFile& input)
{
    const qint64 half = m_inputSize > 0 ? m_inputSize / 2 : assumedHalf;
    qint64 written = 0;
    Pace pace(m_options.bytesPerSecond, m_stop);
    std::vector<char> block(std::size_t(pace.blockSize()));
    int count = 0;
    do {
        count = input.read(block.data(), int(block.size()));
        if (count <= 0)
            return input.failure();
        if (!m_channel.write(block.data(), count))
            return cannotRelay(input, m_channel.writeFailure());
        if (written < half && written + count >= half)
            Q_EMIT halfWritten();
        written += count;
    } while (pace.keep(count));
    return {};
}
