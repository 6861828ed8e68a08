#include <Quarn/fileutils/FileUtils.h>

#include <Quarn/fileutils/FileDialogs_p.h>

#include <QSettings>

namespace kel {
namespace {

void forgetMissing(QString& dir)
{
    if (!QFileInfo(dir).exists())
        dir = QString();
}

bool takeChoice(const QString& choice, QString& dir, QString& file)
{
    if (choice.isEmpty())
        return false;
    const QFileInfo info(choice);
    dir = info.dir().absolutePath();
    file = info.fileName();
    return true;
}

QString remembered(const QSettings* settings, const QString& key, const QString& fallback)
{
    return settings->value(key, fallback).toString();
}

/** Stores the folder of the choice, and makes its name a path. */
void remember(QSettings* settings, const QString& key, const QString& dir, QString& file)
{
    settings->setValue(key, dir);
    file = QDir(dir).filePath(file);
}

} // namespace

bool FileUtils::openFileDialog(QString& dir, QString& file, const QString& caption,
                               const QString& filter, QWidget* parent)
{
    forgetMissing(dir);
    const QString start = file.isEmpty() ? dir : QDir(dir).filePath(file);
    return takeChoice(fileDialogs().openFile(parent, caption, start, filter), dir, file);
}

bool FileUtils::saveFileDialog(QString& dir, QString& file, const QString& caption,
                               const QString& filter, QWidget* parent, QString* selectedFilter)
{
    forgetMissing(dir);
    QString start = dir;
    if (!file.isEmpty())
        start = dir.isEmpty() ? file : QDir(dir).filePath(file);
    return takeChoice(fileDialogs().saveFile(parent, caption, start, filter, selectedFilter), dir,
                      file);
}

bool FileUtils::openFilesDialog(const QString& dir, QStringList& files, const QString& caption,
                                const QString& filter, QWidget* parent)
{
    files = fileDialogs().openFiles(parent, caption, dir, filter);
    return !files.isEmpty();
}

bool FileUtils::openDirectoryDialog(QString& dir, const QString& caption, const QString&,
                                    QWidget* parent)
{
    const QString choice = fileDialogs().openDirectory(parent, caption, dir);
    if (choice.isEmpty())
        return false;
    dir = choice;
    return true;
}

bool FileUtils::openFileDialog(QSettings* settings, const QString& key, QString& file,
                               const QString& caption, const QString& filter, QWidget* parent,
                               QString defaultDir)
{
    QString dir = remembered(settings, key, defaultDir);
    if (!openFileDialog(dir, file, caption, filter, parent))
        return false;
    remember(settings, key, dir, file);
    return true;
}

bool FileUtils::saveFileDialog(QSettings* settings, const QString& key, QString& file,
                               const QString& caption, const QString& filter, QWidget* parent,
                               QString defaultDir, QString* selectedFilter)
{
    QString dir = remembered(settings, key, defaultDir);
    if (!saveFileDialog(dir, file, caption, filter, parent, selectedFilter))
        return false;
    remember(settings, key, dir, file);
    return true;
}

bool FileUtils::openFilesDialog(QSettings* settings, const QString& key, QStringList& files,
                                const QString& caption, const QString& filter, QWidget* parent)
{
    const QString dir = settings->value(key).toString();
    if (!openFilesDialog(dir, files, caption, filter, parent))
        return false;
    settings->setValue(key, dir);
    return true;
}

bool FileUtils::openDirectoryDialog(QSettings* settings, const QString& key, QString& dir,
                                    const QString& caption, const QString& ignoredText,
                                    QWidget* parent)
{
    QString choice = settings->value(key).toString();
    if (!openDirectoryDialog(choice, caption, ignoredText, parent))
        return false;
    settings->setValue(key, choice);
    dir = choice;
    return true;
}

} // namespace kel
