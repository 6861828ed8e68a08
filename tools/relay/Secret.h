#ifndef RELAY_SECRET_H
#define RELAY_SECRET_H

#include <QByteArray>

/** \brief Bytes that are overwritten when the object goes. */
class Secret
{
public:
    /** None. */
    Secret() = default;
    explicit Secret(QByteArray&& bytes) { m_bytes.swap(bytes); }
    Secret(Secret&& other) noexcept { m_bytes.swap(other.m_bytes); }
    Secret& operator=(Secret&& other) noexcept;
    ~Secret();

    const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

#endif
