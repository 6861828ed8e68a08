#ifndef QUARN_COMPANION_CONNECT_H
#define QUARN_COMPANION_CONNECT_H

#include <Quarn/quarn_export.h>

#include <QtCore/qnamespace.h>

class QObject;

namespace kel {

/**
 * Connects \a sender's \a signal to \a receiver's \a slot, both in the encoding of SIGNAL() and
 * SLOT(), as QObject::connect() does. A connection that cannot be made is answered with false and
 * one warning in the log.
 *
 * \par Threads
 * Any, as QObject::connect().
 */
QUARN_EXPORT bool connect(const QObject* sender, const char* signal, const QObject* receiver,
                          const char* slot, Qt::ConnectionType type = Qt::AutoConnection);

} // namespace kel
#endif
