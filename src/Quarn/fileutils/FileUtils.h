#ifndef QUARN_FILEUTILS_FILEUTILS_H
#define QUARN_FILEUTILS_FILEUTILS_H

#include <Quarn/companion/FileException.h>
#include <Quarn/fileutils/TrashedFile.h>
#include <Quarn/quarn_export.h>

#include <QByteArray>
#include <QDir>
#include <QFileInfo>
#include <QList>
#include <QString>
#include <QStringList>

class QDateTime;
class QIODevice;
class QSettings;
class QWidget;

namespace kel {

/**
 * \brief File-system helpers for applications: names, folders, whole files, comments, dialogs.
 *
 * Every operation is static and keeps no state. Paths are in Qt's form, with forward slashes.
 *
 * \par Threads
 * Any operation may run on any thread at any time, also on the same files; what two of them do to
 * one file at once is then for the system to say. The dialogs belong to the thread of the widgets.
 * A QDir, device, text stream or settings object that is given is used by the calling thread only.
 *
 * \par Blocking
 * | Operations                                      | return                                |
 * |-------------------------------------------------|---------------------------------------|
 * | on texts: extension(), nativePath() of one path | at once, as showDesktopWindow() does  |
 * | on one path: special folders, fileMustExist()   | when the file system has answered     |
 * | on a folder: uniqueFileName(), createTempDir()  | when it has been listed, at most once |
 * | on trees and contents: erase(), readText()      | when everything has been done         |
 * | dialogs                                         | when the user closes them             |
 *
 * All but the first wait for the disk, or for the server of a network drive, as long as that takes,
 * and copy() for its source, too: use a worker thread where a window must not freeze. The dialogs
 * run a local event loop, so timers and queued slots of the thread run meanwhile.
 *
 * \par Errors
 * readText(), equalsText(), readBytes(), writeBytes(), fileMustExist() and dirMustExist() throw a
 * FileException, or an IOException for a text stream's bad status. So do saveBytes(), saveText(),
 * safeFilePath(), trashedFiles() and restoreFromTrash(), whose message tells what was tried and the
 * system's reason. Nothing else throws.
 *
 * \par Paths
 * A path with a zero character, at which the system would cut it short, names nothing: what stands
 * in front of that is neither read nor changed.
 *
 * \par Text
 * readText(), equalsText() and copyText() leave the choice of the encoding to QTextStream: Qt 6
 * takes UTF-8, Qt 5 the locale's encoding; both notice UTF-16 and UTF-32 by a byte order mark.
 */
class QUARN_EXPORT FileUtils
{
public:
    /** \name Paths and file names
     *  Texts in, texts out. The file system is looked at only where it is said. */
    ///@{

    /**
     * \a path made absolute: a relative one is taken relative to \a baseDir, and that one to the
     * working folder.
     */
    static QString absoluteFilePath(const QString& baseDir, const QString& path);

    /** The path without links, "." and ".."; the absolute path when the file does not exist. */
    static QString canonicalFilePath(const QFileInfo& info);

    /** The same for a path that may hold backslashes; null when \a path is empty. */
    static QString canonicalFilePath(const QString& path);

    /** \a path with a backslash for each slash, as Windows programs want it; nothing is cleaned. */
    static QString nativePath(const QString& path);

    /**
     * The Windows form of the path of \a name in the first of \a dirs that holds a file or folder
     * of that name; of \a name itself when none does. An empty entry is the working folder.
     */
    static QString nativePath(const QString& name, const QStringList& dirs);

    /** The same with the folders in one text as in "PATH" on Windows, separated by ";". */
    static QString nativePath(const QString& name, const QString& searchPath);

    /**
     * \a name made safe as a file name: each UTF-16 unit becomes an underscore, so a character
     * beyond U+FFFF becomes two, but for the ASCII letters, the digits and these:
     *
     *     , . ' ! # $ % & ( ) [ ] { } + - = ^ _ ~ @
     *
     * **This looks at characters only, so the result can still be a name that is none.** An empty
     * one, "." and ".." pass as they are, and so do "CON", "nul.txt" and names that end with a full
     * stop, which Windows does not take, and names that are too long. Two names may become one.
     * Before a name that comes from somebody else is put behind a folder, ask isSafeFileName().
     */
    static QString nativeFileName(const QString& name);

    /**
     * Whether \a name, which came from an archive, a server or another user, can be given to a file
     * on any system, so that it stays in the folder that it is put behind and is what it looks like.
     * Refused are
     *
     * | Name                                                    | because                         |
     * |---------------------------------------------------------|---------------------------------|
     * | an empty one, "." and ".."                              | they are folders                |
     * | with `/` or `\`                                         | it leads to another folder      |
     * | with `:`, `<`, `>`, `"`, `\|`, `?` or `*`               | Windows refuses it, or takes it |
     * |                                                         | for a drive, a stream, a device |
     * | with a control character, U+0000 to U+001F and U+007F   | it ends the name, or changes    |
     * | to U+009F, or a separator U+2028 or U+2029              | what a terminal shows           |
     * | with a mark of direction, U+061C, U+200E, U+200F,       | "exe.txt" is shown for          |
     * | U+202A to U+202E or U+2066 to U+2069                    | "txt.exe"                       |
     * | CON, PRN, AUX, NUL, CONIN$, CONOUT$, COM1 to COM9, LPT1 | Windows has devices there; also |
     * | to LPT9, or with ¹, ² or ³ for the digit, in any letter | with ¹ to ³                     |
     * | case, also before a dot or blanks, as in "nul.tar.gz",  |                                 |
     * | and behind blanks                                       |                                 |
     * | that ends with a dot or a blank of any kind             | Windows takes that away         |
     * | of more than 255 bytes of UTF-8 or 255 UTF-16 units     | file systems refuse it          |
     * | with an unpaired surrogate                              | UTF-8 cannot hold it            |
     *
     * A name may begin with a dot, a minus sign or a blank. **What is there already is not looked
     * at: it may be a link that an archive has put there before.** Unpack into a new folder, see
     * TempDir, or create files with QIODevice::NewOnly.
     */
    [[nodiscard]] static bool isSafeFileName(const QString& name);

    /**
     * The absolute path of \a name in \a folder, nothing of which is looked at.
     *
     * \throws FileException "is no safe file name" when isSafeFileName() refuses it; its fileName()
     *         is \a name
     */
    [[nodiscard]] static QString safeFilePath(const QDir& folder, const QString& name);

    /**
     * The server of a network path, `srv` of `\\srv\share`. Null when \a path does not begin with a
     * backslash, empty when no backslash follows the server.
     */
    static QString serverFromUNCPath(const QString& path);

    /** What follows the last dot of the last path element, else an empty text. */
    static QString extension(const QString& path);

    /** \a path without the extension of its last element and the dot in front of that. */
    static QString stripExtension(const QString& path);

    /**
     * \a path with \a newExtension, which comes without its dot, as the extension of its last
     * element; an empty one just takes the old one away.
     */
    static QString replaceExtension(const QString& path, const QString& newExtension);
    ///@}

    /** \name Special and temporary folders
     *  Where the system does not know a folder of the user, the answer is the home folder. A folder
     *  that is answered need not exist. On Linux a relative path that is set for one in the
     *  environment, which is not valid, counts as not set. */
    ///@{

    /** "Desktop" in the home folder when there is one, else the home folder. */
    static QDir userDesktop();

    /** Where data of this machine goes; Linux: XDG_DATA_HOME, mostly ~/.local/share. */
    static QDir userLogDir();

    /** Where data goes that follows the user; Linux: XDG_CONFIG_HOME, mostly ~/.config. */
    static QDir userDataDir();

    /** Linux: the documents folder of user-dirs.dirs, mostly ~/Documents in the user's language. */
    static QDir userDocumentsDir();

    /**
     * The recycle bin; Linux: the files folder of the trash in the home, where moveToTrash() puts
     * what lies on the same file system. What gets there by other means comes without the note of
     * where it was.
     */
    static QDir userTrash();

    /**
     * Whether \a path begins with one of the folders for programs: the two that Windows names, on
     * Linux /usr and /opt. This compares texts in native form: give nativePath() of a path on
     * Windows, and mind that "/usrlocal" begins with "/usr". A folder that the system does not
     * know matches nothing.
     */
    static bool inApplicationsDir(const QString& path);

    /**
     * Creates a folder "temp1", "temp2" and so on in QDir::temp(), the first that is free, and
     * returns its absolute path. The folder is new and, on Linux, open to its owner only: threads
     * and processes that call this at once get different ones. The caller removes it.
     *
     * When no folder can be created, the path that is returned names nothing.
     */
    [[nodiscard]] static QString createTempDir();

    /**
     * \return true
     * \throws FileException "file not found" or "is not a file"
     */
    static bool fileMustExist(const QString& path);

    /**
     * \return true
     * \throws FileException "directory not found" or "is not a directory"
     */
    static bool dirMustExist(const QString& path);
    ///@}

    /** \name Names that are not taken */
    ///@{

    /**
     * Whether \a name counts as taken in \a dir.
     *
     * With \a exact, when there is a file or folder of that name. Without, when any visible entry's
     * name begins with the stem of \a name, which is \a name without its extension, in any letter
     * case: "report.txt" is taken by "Report.pdf" and "reporting.doc". In the stem * stands for any
     * text and each of ?, [ and ] for one character. A name with an empty stem, such as ".cfg", is
     * always tested exactly; one with a folder in it is only found with \a exact.
     */
    [[nodiscard]] static bool exists(const QDir& dir, const QString& name, bool exact);

    /**
     * A name, relative to \a dir, for which exists() answers false at the moment. Nothing is
     * created, so somebody else may take it before the caller does. **In a folder that cannot be
     * listed or asked any name may look free:** create the file with QIODevice::NewOnly.
     *
     * In \a pattern "%d" becomes the date as 2024-05-31 and "%t" the time as 13.45 of \a dateTime,
     * or of now when that is invalid. While the name is taken, 2, 3 and so on are put in front of
     * its last dot, or at its end when it has none or begins with its only one.
     *
     * **A name that a user chose is no pattern:** "100%done" becomes "1002024-05-31one", and there
     * is no way to write "%d" or "%t" so that they stay. Put a space behind the percent signs of such
     * a name first, or take them out.
     *
     * \a counterFormat puts the counter into words as printf() does, `_%d` for instance: UTF-8 text
     * with one conversion d, i, u, o, x or X, which may have flags, a width and a precision of up
     * to 999. Size letters as in `%ld` change nothing, `%%` is a percent sign. Without a conversion
     * there is just one name to try, and with any other in the text none.
     *
     * \return the name; null when all that there are to try are taken
     */
    [[nodiscard]] static QString uniqueFileName(const QDir& dir, const QString& pattern,
                                                const QDateTime& dateTime,
                                                const char* counterFormat, bool exact);

    /** The same at the present moment. */
    [[nodiscard]] static QString uniqueFileName(const QDir& dir, const QString& pattern,
                                                const char* counterFormat, bool exact);
    ///@}

    /** \name Deleting, copying, collecting */
    ///@{

    /**
     * Deletes a file for good, or a folder with everything in it, hidden entries included. Entries
     * go in the order of their names, letter case ignored, and the first that cannot be deleted
     * ends it. The entry is looked at afresh, whatever \a info remembers of it.
     *
     * **After false a folder may be partly emptied, and what is gone does not come back.** Use
     * moveToTrash() for what a user may want again. This blocks until all is deleted.
     *
     * | At the path                                    | Result                                  |
     * |------------------------------------------------|-----------------------------------------|
     * | a file                                         | true when it was deleted                |
     * | a link to a file                               | true when the link is gone; file stays  |
     * | a folder                                       | true when everything is gone            |
     * | a folder holding a link, pipe, socket, device  | false; the other entries there are gone |
     * | a link to a folder                             | false; nothing behind it is touched     |
     * | a link to nowhere, a pipe, the root, nothing   | false                                   |
     *
     * Links are never followed, not even one that somebody puts in the place of a folder meanwhile.
     * On Windows shortcuts and system files count as links do here. In the path of a folder "." and
     * ".." are resolved as text, as QDir does it. A tree may be of any depth.
     *
     * What somebody else deletes in the folder meanwhile counts as gone, so that of two who erase
     * one folder both finish. What somebody else creates meanwhile stays, and the result is false.
     */
    [[nodiscard]] static bool erase(const QFileInfo& info);
    /** \overload */
    [[nodiscard]] static bool erase(const QString& path);

    /**
     * Moves a file or folder to the recycle bin or trash, where the user can restore it; of a link
     * the link itself. What cannot be moved stays where it is.
     *
     * On Linux this is the trash that desktops share, in the home for what lies on the same file
     * system and else at the top of the file system. Nothing is ever copied or deleted for good, so
     * this takes no longer for a large folder. Folders of the trash that are missing are made, and
     * go again when the move fails.
     *
     * Windows may show its dialogs, also to ask whether to delete what the recycle bin cannot take,
     * and blocks until they are closed: call this from a thread that may show some.
     *
     * \return whether it was moved
     */
    [[nodiscard]] static bool moveToTrash(QFileInfo info);

    /**
     * What is in the trash: on Linux that in the home and those of the user at the tops of the
     * mounted file systems, whichever program put it there; in no order. Of a folder the entry
     * stands for all that is in it. Trashes of other file systems that cannot be read are left out,
     * and so is what another program put there in a way of its own.
     *
     * \throws FileException when the trash in the home cannot be read, and on Windows, where only the
     *         shell's own windows list the recycle bin
     */
    [[nodiscard]] static QList<TrashedFile> trashedFiles();

    /**
     * Moves \a file, one of trashedFiles(), back to its original path with its comment, where the
     * file system keeps that as an attribute. To restore it elsewhere on the same file system, set
     * originalPath. Folders that are missing there are made.
     *
     * | Situation                                             | Result                            |
     * |-------------------------------------------------------|-----------------------------------|
     * | nothing is at the original path                       | it is there, and no longer in the |
     * |                                                       | trash                             |
     * | something is, if only a link to nowhere               | exception; that is never replaced |
     * | that is on another file system now                    | exception; nothing is copied      |
     * | the original path is not known, or not absolute       | exception                         |
     * | it is no longer in the trash                          | exception                         |
     *
     * \throws FileException and it stays in the trash, and no folder that was made is left; on Windows
     *         always
     */
    static void restoreFromTrash(const TrashedFile& file);

    /**
     * Deletes for good what trashedFiles() lists, on Windows all that is in the recycle bins, without
     * asking the user. Links are not followed. What somebody moves there meanwhile may stay or go.
     * This blocks until all is deleted.
     *
     * \return for each file or folder that could not be deleted, with fileName() in the trash, why;
     *         such a folder may have lost a part of what was in it
     */
    [[nodiscard]] static QList<FileException> emptyTrash();

    /**
     * Copies up to \a maxBytes bytes from one open device to the other in chunks of at most 16384
     * bytes; 0 or less copies nothing, and for all there is give the largest qint64. Both devices
     * are borrowed and stay open; the target is not flushed.
     *
     * When the source has nothing at the moment and is not at its end, waits up to \a waitMsecs
     * milliseconds for more, again and again until a wait is in vain. With 0 or less there is no
     * wait: a sequential source is polled until it delivers or ends, which keeps a processor busy.
     *
     * The copy ends early when a read fails, a wait is in vain, or a write takes nothing; a device
     * that answers more than it was asked for has failed. The target then holds what the result
     * counts, and bytes of the last chunk that were read but not written are lost. Which of these it
     * was, or whether the source just ended, the devices tell.
     *
     * Blocks as long as the devices' reads, waits and writes do.
     *
     * \return the bytes that \a target accepted
     */
    [[nodiscard]] static qint64 copy(QIODevice* source, QIODevice* target, qint64 maxBytes,
                                     int waitMsecs);

    /**
     * The same with files given by their names.
     *
     * **They are opened in text mode: reading drops every carriage return, from a picture too, and
     * line ends are converted on writing where the system's differ. To copy bytes exactly, give
     * devices that were opened without QIODevice::Text.**
     *
     * A target file is created, or emptied first, even when the source cannot be opened, and keeps
     * what was copied when the copy ends early. It takes nothing, after one chunk was read, when it
     * cannot be opened or emptied, and when it may be the source: a file is never emptied for a copy
     * of itself, over whatever links it is named and also when \a source is an open QFile, nor when
     * it cannot be found out whether it is the same. Comments and permissions are not copied.
     *
     * **A source file that fails halfway looks like one that ended there: compare the result with
     * its size.** Blocks as long as the disk does, and on a pipe until its other end is opened.
     *
     * \return the bytes that the target accepted; for a target file without those that could not be
     *         flushed at the end, as on a full disk, and 0 when closing it failed
     */
    [[nodiscard]] static qint64 copy(QIODevice* source, const QString& target, qint64 maxBytes,
                                     int waitMsecs);
    /** \overload */
    [[nodiscard]] static qint64 copy(const QString& source, QIODevice* target, qint64 maxBytes,
                                     int waitMsecs);
    /** \overload */
    [[nodiscard]] static qint64 copy(const QString& source, const QString& target, qint64 maxBytes,
                                     int waitMsecs);

    /**
     * The sizes in bytes of the files that \a dir lists under \a nameFilters and \a filters, added
     * up. With \a recursive the folders that are listed are walked too, except "." and "..":
     * \a filters has to include QDir::Dirs, or QDir::AllDirs along with name filters. Without name
     * filters those of \a dir hold for its own entries.
     *
     * Links to folders are followed, unless \a filters has QDir::NoSymLinks, but each folder counts
     * once, over whatever links it is reached. Skipped is what Qt cannot list: folders that may not
     * be read or whose path is longer than the system takes, and names of broken UTF-8.
     */
    [[nodiscard]] static qint64 dirSize(const QDir& dir, const QStringList& nameFilters,
                                        QDir::Filters filters, bool recursive);

    /**
     * The visible files in \a dir whose names match one of \a nameFilters, all when it is empty.
     * With \a recursive the files of a sub-folder stand where the folder stands in its parent's
     * order \a sort. Folders themselves are never in the result.
     *
     * Links to folders are followed when all other folders have been walked, and each folder is
     * walked once: the files of a folder that can be reached without a link are found there, those
     * of another one behind the first link that leads to it, in the link's place in the order.
     * Skipped is what dirSize() skips. This blocks until the tree has been walked.
     */
    [[nodiscard]] static QList<QFileInfo> findFiles(const QDir& dir, const QStringList& nameFilters,
                                                    bool recursive, QDir::SortFlags sort);

    /** The same with the filters in one text, separated by ";;" as in "*.jpg;;*.png". */
    [[nodiscard]] static QList<QFileInfo> findFiles(const QDir& dir, const QString& patterns,
                                                    bool recursive, QDir::SortFlags sort);
    ///@}

    /** \name Whole files
     *  **Files given by a path are read and written in text mode, readBytes() and writeBytes() too:
     *  reading drops every carriage return, from a picture as well, and writing converts line ends
     *  where the system's differ. For bytes as they are, use saveBytes() and QFile.**
     *
     *  These operations block as long as the disk or the device does, and on a pipe until its other
     *  end is opened. */
    ///@{

    /**
     * Everything that the open \a device still delivers, as text. The device stays open. **A device
     * that fails halfway ends the text there; only the device itself tells.**
     *
     * \throws IOException when the text stream ends in a bad state
     */
    static QString readText(QIODevice* device);

    /** \throws FileException when the file cannot be opened or read to its end */
    static QString readText(const QString& path);

    /**
     * Writes \a text to the open \a device, and flushes that when it is a file. **A failure, such as
     * a full disk, shows in the device only**, for a file in QFileDevice::error().
     */
    static void copyText(const QString& text, QIODevice* device);

    /** Whether readText() of the device is \a text, letter case included; throws as that does. */
    static bool equalsText(QIODevice* device, const QString& text);

    /** Whether readText() of the file is \a text, letter case included; throws as that does. */
    static bool equalsText(const QString& path, const QString& text);

    /**
     * The contents of the file **without its carriage returns**.
     *
     * \throws FileException when the file cannot be opened or read to its end, or is larger than a
     *         QByteArray can be
     */
    static QByteArray readBytes(const QString& path);

    /**
     * Makes \a data the whole contents of a file, which is created when missing, **in text mode**.
     * The former contents go first: to keep them when the disk is full, use saveBytes().
     *
     * \return the number of bytes written, at most the largest int; -1 when a write failed: the file
     *         then holds no more than \a data from its beginning on
     * \throws FileException when the file cannot be opened or emptied; it is unchanged then
     */
    [[nodiscard]] static int writeBytes(const QByteArray& data, const QString& path);

    /**
     * Makes \a data, as it is, the whole contents of a file, which is created when missing. Whatever
     * fails and whenever the process or the system ends, the file holds the former contents or the
     * new ones, never a part: these are on the disk before they take the place of the others. Only
     * an empty or half-written file ".save-..." may be left beside it, when the process is killed.
     *
     * | At the path                              | Result                                        |
     * |------------------------------------------|-----------------------------------------------|
     * | a file                                   | replaced; see below for what it keeps         |
     * | a link to a file                         | the file that it leads to is replaced         |
     * | a link to nowhere                        | the file is created where it leads to         |
     * | a file that may not be written           | exception                                     |
     * | a file in a folder that may not be       | exception: it could only be written in place, |
     * | written                                  | and a part of it could be all that is left    |
     * | a folder, pipe, socket or device         | exception                                     |
     * | nothing, in a folder that there is       | created, for whom the umask allows            |
     *
     * The file keeps its permissions, access list, comment and other extended attributes, its group,
     * and its owner when the caller is the administrator, on Windows its named streams and
     * attributes; without its group the group's permissions go. Not kept is what other names of the
     * file, by hard links, show: the former contents.
     *
     * \throws FileException and nothing is changed
     */
    static void saveBytes(const QByteArray& data, const QString& path);

    /**
     * The same for \a text in UTF-8 on every system, without a byte order mark, with its line ends
     * as they are. readText() of Qt 5 reads it back where the locale's encoding is UTF-8.
     *
     * \throws FileException also when \a text has an unpaired surrogate
     */
    static void saveText(const QString& text, const QString& path);

    /**
     * The comment of the file or folder at \a path; empty when it has none, or not all of it can be
     * read. A comment ends at its first zero character. Links are followed: a file has one comment,
     * however its path is written.
     */
    static QString comment(const QString& path);

    /**
     * Makes \a text the comment of the file or folder at \a path; an empty one takes it away. The
     * contents, the permissions and the time of the last modification stay as they are. Nothing is
     * reported: where the caller may not write or the disk is full, the former comment stays.
     *
     * Windows keeps it in the stream "comment" of an NTFS file; other file systems have none. Linux
     * keeps it, in UTF-8, in the extended attribute user.xdg.comment, which file managers show. Where
     * the file system has none or no room for it, it goes into a file in the same folder: for "X"
     * that is "X:comment", or "X;comment" where colons are refused, as on FAT.
     *
     * **On Linux files of these two names beside "X" are taken for its comment: shown as that,
     * replaced and removed.** Not shown is what belongs to somebody who may not write "X".
     *
     * Along with "X" its comment is moved to the trash, erased or renamed only if it is an attribute
     * or a stream. The file beside it stays behind, so that a new "X" would have its comment: take
     * the comment away first. copy() leaves the comments of both files as they are; what other
     * programs copy along is up to them.
     */
    static void comment(const QString& path, const QString& text);
    ///@}

    /** \name Dialogs
     *  Each runs Qt's dialog for its purpose, modal to \a parent when there is one, and answers
     *  whether the user chose something. \a filter is as for QFileDialog, such as "Images (*.png)".
     *  The forms with settings begin in the folder stored as a text under \a key and store one
     *  there when the user chose; after a cancelled dialog the settings are unchanged.
     *
     *  A call blocks until the user closes the dialog; timers and queued slots of the thread run
     *  meanwhile. Call them from the thread of a QApplication, and nothing else.
     *
     *  Qt Widgets is not loaded with Quarn but with the first dialog, by a second library that stays
     *  loaded (libQuarn-qt6-desktop.so.1 for Qt 6, in the folder Quarn-qt6-desktop beside Quarn's
     *  own library, or beside that itself). An application that ships Quarn ships both. Where it is
     *  missing, a warning in the Log tells so and each dialog answers as if cancelled; the next
     *  call tries again. A static Quarn holds it all. */
    ///@{

    /**
     * Asks for a file to open. \a dir and \a file are the folder and the name to begin with, and
     * afterwards those of the chosen file. A \a dir that does not exist is made empty, even when the
     * dialog is then cancelled; an empty one is the working folder when there is a \a file.
     */
    static bool openFileDialog(QString& dir, QString& file, const QString& caption = QString(),
                               const QString& filter = QString(), QWidget* parent = nullptr);

    /**
     * Asks for a file to save to, as openFileDialog() does; an existing one has to be confirmed.
     * \a selectedFilter, which may be null, is the filter to begin with, and afterwards the one that
     * was selected.
     */
    static bool saveFileDialog(QString& dir, QString& file, const QString& caption = QString(),
                               const QString& filter = QString(), QWidget* parent = nullptr,
                               QString* selectedFilter = nullptr);

    /** Asks for files to open; \a files are their paths, none when the dialog was cancelled. */
    static bool openFilesDialog(const QString& dir, QStringList& files,
                                const QString& caption = QString(),
                                const QString& filter = QString(), QWidget* parent = nullptr);

    /** Asks for a folder; \a dir is the one to begin with, and afterwards the chosen one. */
    static bool openDirectoryDialog(QString& dir, const QString& caption = QString(),
                                    const QString& ignoredText = QString(),
                                    QWidget* parent = nullptr);

    /**
     * Asks for a file to open, beginning in the remembered folder, or in \a defaultDir as long as
     * there is none. \a file is the name to begin with, and afterwards the path of the chosen file.
     */
    static bool openFileDialog(QSettings* settings, const QString& key, QString& file,
                               const QString& caption = QString(),
                               const QString& filter = QString(), QWidget* parent = nullptr,
                               QString defaultDir = QString());

    /** Asks for a file to save to, and remembers its folder as openFileDialog() does. */
    static bool saveFileDialog(QSettings* settings, const QString& key, QString& file,
                               const QString& caption = QString(),
                               const QString& filter = QString(), QWidget* parent = nullptr,
                               QString defaultDir = QString(), QString* selectedFilter = nullptr);

    /**
     * Asks for files to open, beginning in the remembered folder. That one does not follow the
     * chosen files: it is stored again as it was, empty when there was none.
     */
    static bool openFilesDialog(QSettings* settings, const QString& key, QStringList& files,
                                const QString& caption = QString(),
                                const QString& filter = QString(), QWidget* parent = nullptr);

    /** Asks for a folder, beginning in the remembered one, and remembers the chosen one. */
    static bool openDirectoryDialog(QSettings* settings, const QString& key, QString& dir,
                                    const QString& caption = QString(),
                                    const QString& ignoredText = QString(),
                                    QWidget* parent = nullptr);
    ///@}

    /**
     * Shows \a file of the folder \a dir, or \a dir itself when \a file is empty, selected in a
     * window of the system's file manager. An item that does not exist, or a file manager that
     * cannot be started, is passed over in silence.
     *
     * May be called from any thread and never waits for the file manager or a bus; the first call
     * takes the time to load the library that the dialogs need too, and without it shows nothing.
     * Items of calls that follow each other are shown in that order.
     *
     * On Linux the main thread's event loop asks the file manager over the session bus, so a program
     * that ends at once shows nothing. Where it fails, or no bus answers within 5 seconds, xdg-open
     * is started for the folder that holds the item, in a Flatpak or Snap sandbox only after the
     * desktop portal has failed too. What xdg-open prints is dropped. A bus is never started.
     * Windows starts Explorer, at once.
     */
    static void showDesktopWindow(const QString& dir, const QString& file = QString());

private:
    static QString WinFindFolder(int csidl);
    static void findFiles(const QDir& dir, const QStringList& nameFilters, bool recursive,
                          QDir::SortFlags sort, QList<QFileInfo>& result);
};

} // namespace kel
#endif
