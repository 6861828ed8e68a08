#include "Relay.h"

#include "Channel.h"
#include "Console.h"
#include "InputFile.h"
#include "LineCounter.h"
#include "PlainReader.h"
#include "Report.h"
#include "Saver.h"
#include "Signer.h"
#include "Verifier.h"
#include "platform/systemReason.h"

#include <Quarn/companion/IOException.h>

#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace {

enum ExitStatus {
    Done = 0,
    SignatureMismatch = 1,
    Failed = 2,
};

} // namespace

Relay::Relay(const Options& options)
    : m_options(options), m_channel(Channel::create(options.memoryLimit)),
      m_producer(m_options, *m_channel, m_stop), m_verifier(nullptr), m_signer(nullptr),
      m_saver(nullptr), m_lateReader(nullptr), m_lateReaderJoined(false), m_runningWorkers(0),
      m_interruptedBy(0)
{
    addConsumers();
    connect(&m_producer, &Worker::finished, this, [this] {
        startLateReader();
        workerFinished(m_producer.failure());
    });
    connect(&m_producer, &Producer::halfWritten, this, &Relay::startLateReader);
    connect(m_signals.get(), &SignalWatch::caught, this, &Relay::interrupt);
}

Relay::~Relay() = default;

void Relay::addConsumers()
{
    const auto add = [this](auto* consumer) {
        m_consumers.emplace_back(consumer);
        return consumer;
    };
    if (m_options.signs)
        m_signer = add(new Signer(m_options, *m_channel, m_stop));
    else if (!m_options.signatureFile.isEmpty())
        m_verifier = add(new Verifier(m_options, *m_channel, m_stop));
    // From here on there may be a file to clean up.
    m_signals = std::make_unique<SignalWatch>();
    if (!m_options.saveFile.isEmpty()) {
        m_saver = add(new Saver(m_options.saveFile, *m_channel, m_stop));
        SignalWatch::setFileToRemove(m_saver->temporaryPath());
    }
    add(new LineCounter(QStringLiteral("line counter"), *m_channel, m_stop));
    for (int number = 1; number <= m_options.readers; ++number)
        add(new PlainReader(QStringLiteral("reader %1").arg(number), *m_channel, m_stop));
    m_lateReader = add(new PlainReader(QStringLiteral("late reader"), *m_channel, m_stop));
}

int Relay::run()
{
    if (start(m_producer)) {
        for (const auto& consumer : m_consumers)
            if (consumer.get() != m_lateReader)
                startConsumer(*consumer);
        QTimer progressTimer;
        connect(&progressTimer, &QTimer::timeout, this, &Relay::showProgress);
        if (!m_options.quiet)
            progressTimer.start(m_progress.intervalMsecs());
        m_loop.exec();
    }
    m_producer.join();
    for (const auto& consumer : m_consumers)
        consumer->join();
    return conclude();
}

int Relay::interruptedBy() const
{
    return m_interruptedBy;
}

/** False, with the failure noted, when the system has no thread left. */
bool Relay::start(Worker& worker)
{
    try {
        worker.start();
        ++m_runningWorkers;
        return true;
    } catch (const std::system_error& error) {
        fail(QStringLiteral("cannot start another thread: %1")
                 .arg(systemReason(error.code().value())));
        return false;
    }
}

void Relay::startConsumer(Consumer& consumer)
{
    connect(&consumer, &Worker::finished, this,
            [this, &consumer] { workerFinished(consumer.failure()); });
    start(consumer);
}

void Relay::startLateReader()
{
    if (m_lateReaderJoined || m_stop.stopped())
        return;
    m_lateReaderJoined = true;
    startConsumer(*m_lateReader);
}

void Relay::workerFinished(const QString& failure)
{
    if (!failure.isEmpty())
        fail(failure);
    --m_runningWorkers;
    if (m_runningWorkers == 0)
        m_loop.quit();
}

void Relay::interrupt(int signal)
{
    m_interruptedBy = signal;
    m_stop.stop();
}

/** Stops everything. The first reason is the one to tell: others may follow from it. */
void Relay::fail(const QString& reason)
{
    if (m_failure.isEmpty())
        m_failure = reason;
    m_stop.stop();
}

/** The consumer that is behind tells how far everything is. */
void Relay::showProgress()
{
    qint64 done = m_channel->size();
    for (const auto& consumer : m_consumers)
        if (consumer.get() != m_lateReader || m_lateReaderJoined)
            done = std::min(done, consumer->bytes());
    if (!m_progress.show(done, m_producer.inputSize(), m_channel->spilled()))
        interrupt(SignalWatch::brokenPipe);
}

int Relay::conclude()
{
    m_progress.clear();
    if (m_interruptedBy != 0) {
        if (m_interruptedBy != SignalWatch::brokenPipe) // nobody reads it
            Console::fail(m_saver ? QStringLiteral("interrupted; nothing was saved")
                                  : QStringLiteral("interrupted"));
        return Failed;
    }
    if (!m_failure.isEmpty() || !checkCompleteness()) {
        Console::fail(m_failure);
        return Failed;
    }
    const bool printed = (m_options.quiet && !m_options.json) || printReport();
    if (m_verifier && !m_verifier->valid()) {
        Console::fail(mismatch());
        return SignatureMismatch;
    }
    return printed ? save() : Failed;
}

bool Relay::checkCompleteness()
{
    for (const auto& consumer : m_consumers)
        if (!consumer->complete() || consumer->bytes() != m_channel->size())
            fail(QStringLiteral("the %1 got only %2 of %3 bytes")
                     .arg(consumer->name())
                     .arg(consumer->bytes())
                     .arg(m_channel->size()));
    return m_failure.isEmpty();
}

/** False when it could not be printed; a pipe that was closed counts as an interruption. */
bool Relay::printReport()
{
    Report report;
    for (const auto& consumer : m_consumers)
        report.addRow(consumer->name(), consumer->bytes(), consumer->seconds(), consumer->result(),
                      consumer->details());
    if (m_options.json ? Console::print(report.json(summary()))
                       : Console::print(report.text(verdict())))
        return true;
    if (errno == EPIPE)
        m_interruptedBy = SignalWatch::brokenPipe;
    else
        Console::fail(
            QStringLiteral("cannot write to standard output: %1").arg(systemReason(errno)));
    return false;
}

QString Relay::verdict() const
{
    if (m_signer)
        return QStringLiteral("signed");
    return m_verifier ? m_verifier->result() : QStringLiteral("complete, no signature to check");
}

/** What the report says to programs, but for the consumers. */
QJsonObject Relay::summary() const
{
    QString verdict = m_signer ? QStringLiteral("signed") : QStringLiteral("complete");
    if (m_verifier)
        verdict = m_verifier->valid() ? QStringLiteral("valid") : QStringLiteral("mismatch");
    QJsonObject object = {{QStringLiteral("input"), m_options.input},
                          {QStringLiteral("bytes"), m_channel->size()},
                          {QStringLiteral("spilled"), m_channel->spilled()},
                          {QStringLiteral("verdict"), verdict}};
    if (m_verifier)
        object.insert(QStringLiteral("scheme"), m_verifier->scheme());
    return object;
}

QString Relay::mismatch() const
{
    QString text = QStringLiteral("the signature %1 does not match %2")
                       .arg(m_options.signatureFile, InputFile::nameOf(m_options.input));
    if (m_options.scheme.isEmpty())
        text += QStringLiteral(" as %1 (see --scheme)").arg(m_verifier->scheme());
    if (m_saver)
        text += QStringLiteral("; nothing was saved");
    return text;
}

int Relay::save()
{
    try {
        if (m_signer)
            m_signer->write();
        if (m_saver)
            m_saver->publish();
        if (m_signer)
            m_signer->publish();
        return Done;
    } catch (const kel::IOException& exception) {
        Console::fail(exception.message());
        return Failed;
    }
}
