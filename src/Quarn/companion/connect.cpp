#include <Quarn/companion/connect.h>

#include <Quarn/companion/Log.h>

#include <QMetaMethod>
#include <QObject>

namespace kel {
namespace {

/** The method that \a code, from SIGNAL() or SLOT(), names in \a object; invalid for none. */
QMetaMethod methodOf(const QObject* object, const char* code, bool signalOnly)
{
    constexpr char slotCode = '1';
    constexpr char signalCode = '2';
    if (!object || !code || (*code != signalCode && (signalOnly || *code != slotCode)))
        return {};
    const QMetaObject* const meta = object->metaObject();
    const QByteArray name = QMetaObject::normalizedSignature(code + 1);
    return meta->method(*code == signalCode ? meta->indexOfSignal(name.constData())
                                            : meta->indexOfSlot(name.constData()));
}

QString described(const QObject* object, const char* code)
{
    return QStringLiteral("%1::%2").arg(
        QLatin1String(object ? object->metaObject()->className() : "(null)"),
        QLatin1String(code && *code ? code + 1 : "(null)"));
}

} // namespace

bool connect(const QObject* sender, const char* signal, const QObject* receiver, const char* slot,
             Qt::ConnectionType type)
{
    // Looked up here, not left to the string form of QObject::connect(): that one would print a
    // warning of its own beside the one in the log.
    const QMetaMethod from = methodOf(sender, signal, true);
    const QMetaMethod to = methodOf(receiver, slot, false);
    if (from.isValid() && to.isValid() && QMetaObject::checkConnectArgs(from, to)
        && QObject::connect(sender, from, receiver, to, type))
        return true;
    const QString line = QStringLiteral("Cannot connect %1 to %2")
                             .arg(described(sender, signal), described(receiver, slot));
    Log::instance().write(Log::Warning, line.toStdWString());
    return false;
}

} // namespace kel
