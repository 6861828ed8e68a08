#ifndef QUARN_COMPANION_EXCEPTIONQT_H
#define QUARN_COMPANION_EXCEPTIONQT_H

#include <Quarn/companion/Exception.h>

#include <QString>

class QTextStream;

namespace kel {

/**
 * \brief An exception with a message and, optionally, the exception that caused it.
 *
 * what() reads "<class name>: <message>", followed by the cause's text where there is one.
 *
 * \par Ownership
 * The cause is copied; the caller's object may go away.
 *
 * \par Threads
 * Those of Exception; nothing changes a message or a cause but an assignment.
 */
class QUARN_EXPORT ExceptionQt : public Exception
{
public:
    /** \a cause is copied as what it is; null for none. */
    explicit ExceptionQt(const QString& message = QString(), const ExceptionQt* cause = nullptr);
    ExceptionQt(const ExceptionQt& other);
    ExceptionQt& operator=(const ExceptionQt& other);
    ~ExceptionQt() override;

    /** Class name, message and the causes behind it. */
    void generateWhat(std::string& text) const override;

    /** The message as it was given. */
    QString message() const;

    /** The cause, owned by this exception and its copies; null for none. */
    const ExceptionQt* cause() const;

protected:
    /** A new copy of the most derived exception, owned by the caller. */
    virtual ExceptionQt* clone() const;

    /** The qualified name of the most derived class. */
    virtual QString className() const;

    /** Writes the message with what belongs to it, such as a file's name, to \a stream. */
    virtual void printMessage(QTextStream& stream) const;

private:
    QString m_message;
    std::shared_ptr<const ExceptionQt> m_cause;
};

} // namespace kel
#endif
