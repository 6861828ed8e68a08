#include <Quarn/filejobs/FileFailure.h>

namespace kel {
namespace {

QString verb(FileFailure::Operation operation)
{
    switch (operation) {
    case FileFailure::Look:
        return QStringLiteral("look at");
    case FileFailure::List:
        return QStringLiteral("list");
    case FileFailure::Open:
        return QStringLiteral("open");
    case FileFailure::Read:
        return QStringLiteral("read");
    case FileFailure::Create:
        return QStringLiteral("create");
    case FileFailure::Write:
        return QStringLiteral("write");
    case FileFailure::SetAttributes:
        return QStringLiteral("set the attributes of");
    case FileFailure::Rename:
        return QStringLiteral("put something at");
    case FileFailure::Remove:
        return QStringLiteral("remove");
    case FileFailure::Trash:
        return QStringLiteral("move to the trash");
    }
    return QString();
}

} // namespace

QString FileFailure::what() const
{
    return QStringLiteral("Cannot %1 %2: %3").arg(verb(operation), path, text);
}

} // namespace kel
