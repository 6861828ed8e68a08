#ifndef INBOX_DELIVERY_H
#define INBOX_DELIVERY_H

#include <Quarn/signature/PublicKey.h>

#include <QObject>
#include <QThread>
#include <QThreadPool>

#include <boost/shared_ptr.hpp>

#include <memory>

namespace kel {
class MultiUserSpool;
class MultiUserSpoolReader;
} // namespace kel

/** What the sender tells of a stream before it comes. */
struct Announcement
{
    QString name;
    qint64 size;
    QByteArray signature;
};

/**
 * A stream that arrives over the network: received in one thread, verified in another and read by
 * whoever wants to see it, all at once. No call waits but the destructor, for a save to be complete.
 */
class Delivery : public QObject
{
    Q_OBJECT

public:
    enum class Verdict { Genuine, Damaged, Incomplete };

    Delivery(const Announcement& announcement, const kel::PublicKey& key);
    ~Delivery() override;

    const Announcement& announcement() const;
    void start(const QString& host, quint16 port);
    void cancel();
    /** Stores what was received, from its first byte on. */
    void save(const QString& path);

    /** In the calling thread, which it never keeps waiting. */
    std::unique_ptr<kel::MultiUserSpoolReader> createReader() const;

Q_SIGNALS:
    /** \a reason tells why it is incomplete. */
    void verified(Delivery::Verdict verdict, const QString& reason);
    /** \a failure is empty when the file is there. */
    void saved(const QString& path, const QString& failure);

private:
    void verify();

    const Announcement m_announcement;
    const kel::PublicKey m_key;
    const boost::shared_ptr<kel::MultiUserSpool> m_spool;
    QThread m_network;
    QThreadPool m_background;
};

#endif
