#ifndef QUARN_PLATFORM_LINUX_TRASH_TRASHINFO_P_H
#define QUARN_PLATFORM_LINUX_TRASH_TRASHINFO_P_H

#include <QByteArray>
#include <QDateTime>

namespace kel {

/** What a trash keeps of an item, in a file of the item's name and a suffix. */
struct TrashInfo
{
    static constexpr char suffix[] = ".trashinfo";

    QByteArray path; ///< where it was; relative to where the trash is, or absolute
    QDateTime deletionDate; ///< local time

    QByteArray text() const;

    /** The first of each key counts, as far as they are there. */
    static TrashInfo fromText(const QByteArray& text);
};

/**
 * The name for \a name in the trash on the given attempt: the name itself first, then with a number
 * in front of its extension. It is shortened where name and suffix of the info file are too long
 * for the file system, between two characters of UTF-8.
 */
QByteArray trashName(const QByteArray& name, int attempt, int longest);

} // namespace kel
#endif
