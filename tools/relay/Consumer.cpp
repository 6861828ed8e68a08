#include "Consumer.h"

#include "Channel.h"
#include "platform/StopSwitch.h"

#include <Quarn/companion/IOException.h>
#include <Quarn/interfaces/IRandomAccessIO.h>

#include <QElapsedTimer>
#include <QIODevice>

Consumer::Consumer(const QString& name, const Channel& channel, const StopSwitch& stop)
    : m_name(name), m_channel(channel), m_stop(stop), m_bytes(0), m_seconds(0), m_complete(false)
{ }

Consumer::~Consumer() = default;

QString Consumer::name() const
{
    return m_name;
}

qint64 Consumer::bytes() const
{
    return m_bytes;
}

double Consumer::seconds() const
{
    return m_seconds;
}

bool Consumer::complete() const
{
    return m_complete;
}

QString Consumer::failure() const
{
    return m_failure;
}

QString Consumer::result() const
{
    return QStringLiteral("complete");
}

QJsonObject Consumer::details() const
{
    return {};
}

bool Consumer::workOnAll(const kel::IRandomAccessIO& reader,
                         const std::function<bool(const kel::TransferProgress&)>& work)
{
    try {
        const bool result = work([this](qint64 done, qint64) {
            addBytes(done - bytes());
            return !stopped();
        });
        return result && deliveredAll(reader);
    } catch (const kel::IOException& exception) {
        if (stopped() || reader.ioFailureDetected())
            return false; // which is told elsewhere
        throw kel::IOException(
            QStringLiteral("the %1 failed: %2").arg(m_name, exception.message()));
    }
}

void Consumer::addBytes(qint64 count)
{
    m_bytes.store(m_bytes.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
}

bool Consumer::stopped() const
{
    return m_stop.stopped();
}

void Consumer::run()
{
    QElapsedTimer elapsed;
    elapsed.start();
    try {
        const auto reader = m_channel.makeReader();
        consume(reader);
        m_complete = deliveredAll(*reader);
        if (reader->ioFailureDetected() && !m_channel.failed()) // else the producer tells why
            m_failure = QStringLiteral("the %1 failed: %2")
                            .arg(m_name, dynamic_cast<QIODevice&>(*reader).errorString());
    } catch (const kel::ExceptionQt& exception) {
        m_failure = exception.message();
    } catch (const std::exception& exception) {
        m_failure = QString::fromLocal8Bit(exception.what());
    }
    m_seconds = double(elapsed.nsecsElapsed()) / 1e9;
}

bool deliveredAll(const kel::IRandomAccessIO& reader)
{
    return reader.eofEncountered() && !reader.ioFailureDetected();
}
