#include <Quarn/companion/ExceptionQt.h>

#include <QTextStream>

#include <boost/core/demangle.hpp>

#include <typeinfo>

namespace kel {

ExceptionQt::ExceptionQt(const QString& message, const ExceptionQt* cause)
    // The cause is kept and not thrown. NOLINTNEXTLINE(bugprone-throw-keyword-missing)
    : m_message(message), m_cause(cause ? cause->clone() : nullptr)
{ }

ExceptionQt::ExceptionQt(const ExceptionQt& other) = default;

ExceptionQt& ExceptionQt::operator=(const ExceptionQt& other) = default;

ExceptionQt::~ExceptionQt() = default;

void ExceptionQt::generateWhat(std::string& text) const
{
    QString description;
    QTextStream stream(&description);
    stream << className() << QStringLiteral(": ");
    printMessage(stream);
    stream.flush();
    text = description.toStdString();
    if (m_cause) {
        std::string causeText;
        m_cause->generateWhat(causeText);
        text += "; caused by " + causeText;
    }
}

QString ExceptionQt::message() const
{
    return m_message;
}

const ExceptionQt* ExceptionQt::cause() const
{
    return m_cause.get();
}

ExceptionQt* ExceptionQt::clone() const
{
    return new ExceptionQt(*this);
}

QString ExceptionQt::className() const
{
    return QString::fromStdString(boost::core::demangle(typeid(*this).name()));
}

void ExceptionQt::printMessage(QTextStream& stream) const
{
    stream << m_message;
}

} // namespace kel
