#ifndef QUARN_DESKTOP_LINUX_SESSIONBUS_P_H
#define QUARN_DESKTOP_LINUX_SESSIONBUS_P_H

#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

class QSocketNotifier;

namespace kel {

/**
 * The addresses of the session bus that is there, in the order in which to try them. Only those of
 * local sockets: a bus is neither started nor sought in the network.
 */
QStringList sessionBusAddresses();

/**
 * \brief Finds out whether a bus answers at an address, without ever blocking.
 *
 * Who connects to a bus that hangs is blocked once its queue is full; in QtDBus this stops every
 * connection of the process. So the bus is first asked here, over a socket of its own, how one may
 * log on. A bus that answers takes connections.
 */
class BusCheck : public QObject
{
public:
    /** Calls \a done, from the event loop and once; then the object deletes itself. */
    BusCheck(const QString& address, QObject* parent, std::function<void(bool answers)> done);
    ~BusCheck() override;

private:
    void connectToBus();
    void finish(bool answers);

    const QString m_address;
    std::function<void(bool)> m_done;
    const int m_socket;
    std::unique_ptr<QSocketNotifier> m_answer;
};

} // namespace kel
#endif
