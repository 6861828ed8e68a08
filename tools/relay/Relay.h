#ifndef RELAY_RELAY_H
#define RELAY_RELAY_H

#include "Options.h"
#include "Producer.h"
#include "Progress.h"
#include "platform/SignalWatch.h"
#include "platform/StopSwitch.h"

#include <QEventLoop>
#include <QJsonObject>

#include <memory>
#include <vector>

class Channel;
class Consumer;
class PlainReader;
class Saver;
class Signer;
class Verifier;

/**
 * \brief One producer, one channel and its consumers, brought together.
 *
 * The producer writes to the channel and the consumers read it in threads of their own; the main
 * thread shows how far they are.
 */
class Relay : public QObject
{
    Q_OBJECT

public:
    /** Throws kel::IOException when the key, the signature or the file to save is of no use. */
    explicit Relay(const Options& options);
    ~Relay() override;

    /** Relays the whole input and returns the exit status. */
    int run();

    /** The signal that ended the relay early; 0 when none did. */
    int interruptedBy() const;

private:
    void addConsumers();
    bool start(Worker& worker);
    void startConsumer(Consumer& consumer);
    void startLateReader();
    void workerFinished(const QString& failure);
    void interrupt(int signal);
    void fail(const QString& reason);

    void showProgress();
    int conclude();
    bool checkCompleteness();
    bool printReport();
    QString verdict() const;
    QJsonObject summary() const;
    QString mismatch() const;
    int save();

    const Options m_options;
    const std::unique_ptr<Channel> m_channel;
    StopSwitch m_stop;
    Producer m_producer;
    std::unique_ptr<SignalWatch> m_signals;
    std::vector<std::unique_ptr<Consumer>> m_consumers; // those below included
    Verifier* m_verifier; // null when not asked for
    Signer* m_signer; // likewise
    Saver* m_saver; // likewise
    PlainReader* m_lateReader;
    bool m_lateReaderJoined;
    int m_runningWorkers;
    QEventLoop m_loop;
    Progress m_progress;
    int m_interruptedBy;
    QString m_failure;
};

#endif
