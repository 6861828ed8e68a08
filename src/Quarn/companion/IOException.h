#ifndef QUARN_COMPANION_IOEXCEPTION_H
#define QUARN_COMPANION_IOEXCEPTION_H

#include <Quarn/companion/ExceptionQt.h>

#include <QTextStream>

namespace kel {

/**
 * A failure of input or output; base of every exception that this library throws of its own.
 *
 * \par Threads
 * Those of Exception.
 */
class QUARN_EXPORT IOException : public ExceptionQt
{
public:
    /** \a cause is copied; null for none. */
    explicit IOException(const QString& message = QString(), const ExceptionQt* cause = nullptr);
    /** A failure that a text stream reports; the message names the status. */
    explicit IOException(QTextStream::Status status);
    IOException(const IOException& other);
    IOException& operator=(const IOException& other);
    ~IOException() override;

protected:
    ExceptionQt* clone() const override;
};

} // namespace kel
#endif
