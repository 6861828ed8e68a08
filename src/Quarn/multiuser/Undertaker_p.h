#ifndef QUARN_MULTIUSER_UNDERTAKER_P_H
#define QUARN_MULTIUSER_UNDERTAKER_P_H

#include <QObject>
#include <QPointer>

namespace kel {

/**
 * \brief Takes an object along when it is deleted itself.
 *
 * For objects whose own deleteLater() won't do: it marks the object without a lock, while the
 * object's thread may be about to hand it an event, and it works only once in an object's life.
 */
class Undertaker : public QObject
{
public:
    explicit Undertaker(QObject* object) : m_object(object) { }
    ~Undertaker() override { delete m_object; }

private:
    const QPointer<QObject> m_object;
};

} // namespace kel
#endif
