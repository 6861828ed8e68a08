// Keeps notes in a folder: each under a name that is free, removed to the trash and got back from it.
//     notes add "Buy milk"
//     notes list
//     notes remove "Note 2026-05-31.txt"
//     notes undo

#include <Quarn/fileutils/FileUtils.h>

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>
#include <cstdio>

namespace {

QDir notesFolder()
{
    const QDir folder(kel::FileUtils::userDocumentsDir().filePath(QStringLiteral("Notes")));
    folder.mkpath(QStringLiteral("."));
    return folder;
}

void say(const QString& text)
{
    std::printf("%s\n", qPrintable(text));
}

//! [add]
void add(const QDir& folder, const QString& text)
{
    const QString pattern = QStringLiteral("Note %d.txt"); // %d: today
    const QString name = kel::FileUtils::uniqueFileName(folder, pattern, " (%d)", true);
    kel::FileUtils::saveText(text + QLatin1Char('\n'), folder.filePath(name));
    say(name);
}
//! [add]

void list(const QDir& folder)
{
    for (const QString& name : folder.entryList(QDir::Files, QDir::Name))
        say(name + QStringLiteral(": ")
            + kel::FileUtils::readText(folder.filePath(name)).section(QLatin1Char('\n'), 0, 0));
}

/** \a name comes from outside, and so might lead out of the folder. */
void remove(const QDir& folder, const QString& name)
{
    const QString path = kel::FileUtils::safeFilePath(folder, name);
    if (!kel::FileUtils::moveToTrash(QFileInfo(path)))
        throw kel::IOException(QStringLiteral("Could not move to the trash: ") + path);
}

//! [undo]
/** Gets back what was removed last. */
void undo(const QDir& folder)
{
    QList<kel::TrashedFile> files = kel::FileUtils::trashedFiles();
    const auto foreign = [&folder](const kel::TrashedFile& file) {
        return QFileInfo(file.originalPath).path() != folder.absolutePath();
    };
    files.erase(std::remove_if(files.begin(), files.end(), foreign), files.end());
    const auto last = std::max_element(files.cbegin(), files.cend(), [](auto& a, auto& b) {
        return a.deletionDate < b.deletionDate;
    });
    if (last == files.cend())
        throw kel::IOException(QStringLiteral("There is nothing to get back"));
    kel::FileUtils::restoreFromTrash(*last); // never over something that is there
    say(QFileInfo(last->originalPath).fileName());
}
//! [undo]

} // namespace

int main(int argc, char** argv)
try {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString task = arguments.value(1);
    const QDir folder = notesFolder();
    if (task == QStringLiteral("add") && arguments.size() == 3)
        add(folder, arguments.at(2));
    else if (task == QStringLiteral("list"))
        list(folder);
    else if (task == QStringLiteral("remove") && arguments.size() == 3)
        remove(folder, arguments.at(2));
    else if (task == QStringLiteral("undo"))
        undo(folder);
    else
        throw kel::IOException(QStringLiteral("Usage: notes add TEXT | list | remove NAME | undo"));
    return 0;
} catch (const kel::FileException& exception) {
    std::fprintf(stderr, "%s: %s\n", qPrintable(exception.fileName()),
                 qPrintable(exception.message()));
    return 1;
} catch (const kel::IOException& exception) {
    std::fprintf(stderr, "%s\n", qPrintable(exception.message()));
    return 1;
}
