#ifndef QUARN_PLATFORM_FOLDERREMOVAL_P_H
#define QUARN_PLATFORM_FOLDERREMOVAL_P_H

class QString;

namespace kel {

/**
 * Deletes the folder at \a path, which is absolute and clean, with everything in it.
 *
 * The entries of a folder are deleted in the order of their names, letter case ignored: regular
 * files, hidden ones too, and sub-folders in the same way. Left alone are symbolic links and
 * whatever is neither file nor folder; the folder that holds one stays. The first entry that stays
 * ends it all, with what comes behind it untouched.
 *
 * Links are never followed, not even one that takes the place of a folder meanwhile; a \a path that
 * is a link is refused, and so is the root. What others create meanwhile stays, and so its folder;
 * what they delete meanwhile is gone like the rest. The depth of the tree and the bytes of the
 * names don't matter; Linux has no more than 20 descriptors in use for it.
 *
 * \return whether the folder is gone
 */
bool removeFolder(const QString& path);

/**
 * Deletes what is at \a path, which is absolute and clean: a folder with everything in it, links
 * and what is neither file nor folder too. Links are never followed. Folders in there that the user
 * may not enter or change are opened to him first, when they are his. The first entry that cannot
 * be deleted ends it.
 *
 * \return 0 when nothing is there any more, or the system's error number
 */
int removeAll(const QString& path);

} // namespace kel
#endif
