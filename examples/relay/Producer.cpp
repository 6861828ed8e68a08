#include "Producer.h"

#include "FollowedFile.h"
#include "Pace.h"
#include "StopSwitch.h"

#include <Quarn/multiuser/MultiUserBuffer.h>

#include <exception>
#include <memory>
#include <vector>

namespace {

constexpr qint64 bufferLimit = qint64(1) << 31;

QString tooLarge(const InputFile& input, const QString& reason, qint64 size)
{
    return QStringLiteral(
               "cannot relay %1: %2 (%3 bytes; the shared buffer holds just under 2 GiB)")
        .arg(input.name(), reason, QString::number(size));
}

} // namespace

Producer::Producer(const Options& options, boost::shared_ptr<kel::MultiUserBuffer> buffer,
                   const StopSwitch& stop)
    : m_options(options), m_buffer(std::move(buffer)), m_stop(stop), m_inputSize(-1)
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
    if (!m_failure.isEmpty())
        m_buffer->setErrorString(m_failure);
    else if (m_stop.stopped())
        m_buffer->setErrorString(QStringLiteral("stopped"));
    m_buffer->finishIO();
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
    if (m_inputSize >= bufferLimit)
        return tooLarge(*input, QStringLiteral("It is too large"), m_inputSize);
    return relay(*input);
}

QString Producer::relay(InputFile& input)
{
    Pace pace(m_options.bytesPerSecond, m_stop);
    std::vector<char> block(std::size_t(pace.blockSize()));
    int count = 0;
    do {
        count = input.read(block.data(), int(block.size()));
        if (count <= 0)
            return input.failure();
        if (!m_buffer->writeBlock(block.data(), count))
            return tooLarge(input, m_buffer->errorString(), m_buffer->streamSize());
    } while (pace.keep(count));
    return {};
}
