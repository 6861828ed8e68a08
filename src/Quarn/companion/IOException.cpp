#include <Quarn/companion/IOException.h>

namespace kel {
namespace {

QString messageOf(QTextStream::Status status)
{
    switch (status) {
    case QTextStream::Ok:
        return QStringLiteral("no text stream error");
    case QTextStream::ReadPastEnd:
        return QStringLiteral("text stream read past the end of its data");
    case QTextStream::ReadCorruptData:
        return QStringLiteral("text stream read corrupt data");
    case QTextStream::WriteFailed:
        return QStringLiteral("text stream could not write");
    }
    return QStringLiteral("text stream status %1").arg(int(status));
}

} // namespace

IOException::IOException(const QString& message, const ExceptionQt* cause)
    : ExceptionQt(message, cause)
{ }

IOException::IOException(QTextStream::Status status) : ExceptionQt(messageOf(status)) { }

IOException::IOException(const IOException& other) = default;

IOException& IOException::operator=(const IOException& other) = default;

IOException::~IOException() = default;

ExceptionQt* IOException::clone() const
{
    return new IOException(*this);
}

} // namespace kel
