#ifndef QUARN_TESTS_FILEOPERATIONS_ENTRIES_H
#define QUARN_TESTS_FILEOPERATIONS_ENTRIES_H

#include <QByteArray>
#include <QList>
#include <QString>
#include <QTemporaryDir>

#include <functional>

/** The entries below a folder by their paths, as bytes: Qt does not see names of broken UTF-8. */
using Entries = QList<QByteArray>;

/** A folder that goes with the object, whatever is in it: QTemporaryDir leaves some links. */
class TemporaryFolder
{
public:
    ~TemporaryFolder();

    QString path() const { return m_folder.path(); }
    QByteArray nativePath() const;
    QString filePath(const QString& name) const { return m_folder.filePath(name); }

private:
    QTemporaryDir m_folder;
};

/** Creates "folder/", "file", "pipe|" and "link>target", with the folders on the way. */
void createEntries(const QByteArray& root, const Entries& entries);

/** What is there, sorted; folders that hold something don't stand for themselves. */
Entries entriesOf(const QByteArray& root);

/** The exit code of \a run in a process of its own, which may lose rights and mounts. */
int runInChild(const std::function<int()>& run);

#endif
