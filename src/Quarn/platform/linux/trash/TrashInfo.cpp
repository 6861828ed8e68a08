#include <Quarn/platform/linux/trash/TrashInfo_p.h>

#include <QList>
#include <QRandomGenerator>
#include <QString>

#include <cstring>

namespace kel {
namespace {

constexpr char group[] = "[Trash Info]";
constexpr char pathKey[] = "Path=";
constexpr char dateKey[] = "DeletionDate=";

} // namespace

QByteArray TrashInfo::text() const
{
    return group + QByteArray("\n") + pathKey + path.toPercentEncoding("/") + '\n' + dateKey
           + deletionDate.toString(Qt::ISODate).toLatin1() + '\n';
}

TrashInfo TrashInfo::fromText(const QByteArray& text)
{
    TrashInfo info;
    bool inGroup = false;
    for (const QByteArray& line : text.split('\n')) {
        if (line.startsWith('['))
            inGroup = line.trimmed() == group;
        else if (inGroup && info.path.isEmpty() && line.startsWith(pathKey))
            info.path = QByteArray::fromPercentEncoding(line.mid(int(strlen(pathKey))));
        else if (inGroup && !info.deletionDate.isValid() && line.startsWith(dateKey))
            info.deletionDate = QDateTime::fromString(
                QString::fromLatin1(line.mid(int(strlen(dateKey))).trimmed()), Qt::ISODate);
    }
    return info;
}

QByteArray trashName(const QByteArray& name, int attempt, int longest)
{
    constexpr int countedAttempts = 100; // random from then on: thousands may share one name
    constexpr int longestExtension = 16;
    QByteArray number;
    if (attempt > 1) {
        const bool counted = attempt <= countedAttempts;
        number = '.'
                 + QByteArray::number(counted ? quint32(attempt)
                                              : QRandomGenerator::global()->generate());
    }
    auto dot = name.lastIndexOf('.');
    if (dot <= 0 || name.size() - dot > longestExtension)
        dot = name.size();
    const QByteArray end = number + name.mid(dot);
    auto room = longest - int(strlen(TrashInfo::suffix)) - end.size();
    if (dot > room) {
        while (room > 0 && (uchar(name[room]) & 0xc0) == 0x80)
            --room;
        dot = room;
    }
    return name.left(dot) + end;
}

} // namespace kel
