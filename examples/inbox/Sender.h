#ifndef INBOX_SENDER_H
#define INBOX_SENDER_H

#include "Delivery.h"

#include <QTcpServer>
#include <QTimer>

/** The far end, for the demonstration: sends a text in small pieces to whoever connects first. */
class Sender : public QObject
{
    Q_OBJECT

public:
    /** With \a damaged a byte changes on the way. */
    Sender(const QString& name, const QByteArray& contents, bool damaged);

    Announcement announcement() const;
    kel::PublicKey key() const;
    /** On the loopback; 0 when it can't listen there. */
    quint16 port() const;

private:
    void sendNext(QTcpSocket* socket);

    Announcement m_announcement;
    kel::PublicKey m_key;
    QByteArray m_contents;
    int m_sent = 0;
    quint16 m_port;
    QTcpServer m_server;
    QTimer m_pace;
};

#endif
