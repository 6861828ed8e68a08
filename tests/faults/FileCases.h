#ifndef QUARN_TESTS_FAULTS_FILECASES_H
#define QUARN_TESTS_FAULTS_FILECASES_H

#include "support/Entries.h"
#include "support/TemporaryFolder.h"
#include "support/testBytes.h"

#include <Quarn/access/AsyncFile.h>
#include <Quarn/access/KelFileAccess.h>
#include <Quarn/fileutils/FileUtils.h>
#include <Quarn/fileutils/TempDir.h>
#include <Quarn/streams/FileStream.h>
#include <Quarn/streams/MappedFileStream.h>
#include <Quarn/streams/SafeFile.h>
#include <Quarn/streams/StreamUtils.h>

#include <QBuffer>
#include <QLoggingCategory>
#include <QTest>
#include <QThreadPool>

#include <future>
#include <limits>
#include <map>

namespace kel {

/** The operations on files, for a test that derives from it and has them fail in its way. */
class FileCases : public QObject
{
    Q_OBJECT

protected:
    /** What a copy is made from or to. */
    enum Party { Name, File, Unbuffered, Memory };

    /** What an operation owes its caller. */
    enum Promise { NoFalseSuccess, AllOrNothing, NoSuccess };

    using Work = std::function<bool()>; // whether it claims success; an exception is a failure
    using Snapshot = std::map<QByteArray, QByteArray>;

    static constexpr qint64 all = std::numeric_limits<qint64>::max();
    static constexpr int size = 40000;
    static inline const QByteArray bytes
        = testBytes(size).replace('\r', 'r'); // which text mode would drop
    static inline const QByteArray text = QByteArray("Zeile \xc3\xa4\n").repeated(size / 9);

    /** Tries one operation in all ways; what went wrong goes into m_faults. */
    virtual void check(const char* name, Promise promise, const Work& work) = 0;
    void check(const char* name, const Work& work) { check(name, NoFalseSuccess, work); }
    /** Ends the process at one point of \a work after the other. */
    virtual void checkCrashes(const char* name, const Work& work) = 0;

    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be opened)");
    }

    static void store(const QString& path, const QByteArray& data)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.flush());
    }

    /**
     * A .trashinfo holds the time, and a comment, which is looked at itself, lies in one of two
     * files. A process that is killed leaves the file that it saves in.
     */
    static bool isAside(const QByteArray& entry)
    {
        return entry.endsWith(".trashinfo") || entry.contains("comment")
               || entry.startsWith(".save-") || (entry.startsWith("home/") && entry.endsWith('/'));
    }

    QString path(const char* name) const { return m_folder.filePath(QLatin1String(name)); }

    qint64 copy(Party from, const char* source, Party to, const char* target)
    {
        QByteArray given = bytes;
        QFile sourceFile(path(source)), targetFile(path(target));
        QBuffer sourceBytes(&given), targetBytes(&m_got);
        const QIODevice::OpenMode modes[] = {{}, {}, QIODevice::Unbuffered, {}};
        QIODevice* const inputs[] = {nullptr, &sourceFile, &sourceFile, &sourceBytes};
        QIODevice* const outputs[] = {nullptr, &targetFile, &targetFile, &targetBytes};
        const auto opened = [](QIODevice* device, QIODevice::OpenMode mode) {
            return !device || device->open(mode);
        };
        if (!opened(inputs[from], modes[from] | QIODevice::ReadOnly)
            || !opened(outputs[to], modes[to] | QIODevice::WriteOnly))
            return -1;
        const auto copyTo = [&](auto first) {
            return to == Name ? FileUtils::copy(first, path(target), all, 0)
                              : FileUtils::copy(first, outputs[to], all, 0);
        };
        const qint64 count = from == Name ? copyTo(path(source)) : copyTo(inputs[from]);
        return !targetFile.isOpen() || targetFile.flush() ? count : -1;
    }

    void prepare()
    {
        m_got.clear();
        m_failed.clear();
        if (m_isAboutFiles)
            prepareFiles();
        m_before();
    }

    void prepareFiles() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.root().toStdString()))
            std::filesystem::remove_all(entry);
        for (const char* name : {"source", "own"})
            store(path(name), bytes);
        store(path("longer"), bytes + "and more");
        store(path("text"), text);
        store(path("empty"), "");
        createEntries(m_folder.root(), {"link>source", "dangling>new", "tree/a/b/c", "tree/a/d",
                                        "tree/e/", "tree/f"});
        std::filesystem::create_hard_link(path("source").toStdString(), path("twin").toStdString());
        std::filesystem::permissions(path("longer").toStdString(), std::filesystem::perms(0640));
    }

    Snapshot snapshot() const
    {
        if (!m_isAboutFiles)
            return {{"got", m_got}};
        Snapshot result = {{"comment", FileUtils::comment(path("twin")).toUtf8()}, {"got", m_got}};
        for (const QByteArray& entry : entriesOf(m_folder.root()))
            if (!isAside(entry))
                result[entry] = contents(path(entry.constData()))
                                + QByteArray::number(QFile::permissions(path(entry.constData())));
        return result;
    }

    // In memory where there is some: nothing here depends on a disk.
    TemporaryFolder m_folder{QStringLiteral("/dev/shm")};
    QByteArray m_failed; // the call
    std::function<void()> m_before = [] {}; // while nothing fails yet
    bool m_isAboutFiles = true; // those in the folder
    QByteArray m_got; // what an operation read
    QList<QByteArray> m_faults;
    int m_operations = 0, m_runs = 0;

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("XDG_DATA_HOME", m_folder.root() + "/home");
        qputenv("TMPDIR", m_folder.root());
        QLoggingCategory::setFilterRules(QStringLiteral("*.warning=false")); // thousands, of Qt
    }

    void cleanup()
    {
        m_before = [] {};
        m_isAboutFiles = true;
        QVERIFY2(m_faults.isEmpty(), std::exchange(m_faults, {}).join('\n').constData());
    }

    void readsAndWrites()
    {
        for (const int count : {0, 9, int(text.size())}) {
            const QString expected = QString::fromUtf8(text.left(count));
            m_before = [=] { store(path("text"), text.left(count)); };
            check("readBytes", [=] { return m_got = FileUtils::readBytes(path("text")), true; });
            check("readText",
                  [=] { return m_got = FileUtils::readText(path("text")).toUtf8(), true; });
            check("equalsText", [=] { return FileUtils::equalsText(path("text"), expected); });
            for (const QString& other : {expected.left(16384 - 9), expected + expected.left(1)})
                if (other != expected)
                    check("equalsText, another", NoSuccess,
                          [=] { return FileUtils::equalsText(path("text"), other); });
        }
        for (const char* name : {"target", "longer"}) {
            for (const int count : {0, 10, size})
                check("writeBytes", [=] {
                    return FileUtils::writeBytes(bytes.left(count), path(name)) == count;
                });
            for (const int count :
                 {9, int(text.size())}) // which stays in a buffer until it is flushed
                check("copyText", [=] {
                    QFile to(path(name));
                    const bool opened = to.open(QIODevice::WriteOnly);
                    FileUtils::copyText(QString::fromUtf8(text.left(count)), &to);
                    return opened && to.error() == QFile::NoError;
                });
        }
    }

    void copies()
    {
        for (const Party from : {Name, File, Unbuffered, Memory}) {
            for (const Party to : {Name, File, Unbuffered, Memory})
                check("copy", [=] { return copy(from, "source", to, "target") == size; });
            check("copy over longer", [=] { return copy(from, "source", Name, "longer") == size; });
        }
        for (const Party from : {Name, File})
            for (const char* name : {"source", "twin", "link"})
                check("copy onto itself", NoSuccess,
                      [=] { return copy(from, name, Name, "twin") > 0; });
    }

    void comments()
    {
        const QString large(100000, QLatin1Char('c')), small = QStringLiteral("comment");
        for (const QString& before : {QString(), small, large}) {
            m_before = [=] { FileUtils::comment(path("twin"), before); };
            for (const QString& after : {QString(), small + small, large, large + small})
                if (after != before)
                    check("comment written", AllOrNothing, [=] {
                        FileUtils::comment(path("twin"), after);
                        return false; // it doesn't tell
                    });
        }
        check("comment read",
              [=] { return m_got = FileUtils::comment(path("twin")).toUtf8(), !m_got.isEmpty(); });
    }

    void saves()
    {
        for (const char* name : {"target", "longer", "link", "dangling", "empty"}) {
            const auto save = [=] { return FileUtils::saveBytes(text, path(name)), true; };
            check("saveBytes", AllOrNothing, save);
            checkCrashes("saveBytes", save);
        }
        for (const auto mode : {QIODevice::NotOpen, QIODevice::Unbuffered}) {
            const auto save = [=] {
                SafeFile file(path("longer"));
                return file.open(QIODevice::WriteOnly | mode)
                       && file.writeBlock(text.constData(), int(text.size())) && file.commit();
            };
            check("SafeFile", AllOrNothing, save);
            checkCrashes("SafeFile", save);
        }
    }

    void folders()
    {
        for (const char* name : {"twin", "link", "empty", "tree/e", "tree"})
            check("erase", [=] { return FileUtils::erase(path(name)); });
        for (const char* name : {"twin", "link", "empty", "tree"})
            check("moveToTrash", AllOrNothing,
                  [=] { return FileUtils::moveToTrash(QFileInfo(path(name))); });
        for (const char* name : {"twin", "tree"}) {
            const auto restore = [=] {
                for (const TrashedFile& file : FileUtils::trashedFiles())
                    if (file.originalPath == path(name))
                        return FileUtils::restoreFromTrash(file), true;
                return false;
            };
            m_before = [=] { QVERIFY(FileUtils::moveToTrash(QFileInfo(path(name)))); };
            check("restoreFromTrash", AllOrNothing, restore);
            checkCrashes("restoreFromTrash", restore);
        }
        check("trashedFiles", [=] {
            for (const TrashedFile& file : FileUtils::trashedFiles())
                m_got += file.path.toUtf8();
            return true;
        });
        if (FileUtils::trashedFiles().size() == 1) // nobody's real trash
            check("emptyTrash", [=] { return FileUtils::emptyTrash().isEmpty(); });
        m_before = [] {};
        const auto trash = [=] { return FileUtils::moveToTrash(QFileInfo(path("tree"))); };
        checkCrashes("moveToTrash", trash);
        check("TempDir", [] {
            TempDir folder;
            createEntries(QFile::encodeName(folder.path()), {"a/b", "link>nowhere"});
            return folder.remove(), true;
        });
        check("createTempDir", [] { return QDir().rmdir(FileUtils::createTempDir()); });
        check("fileMustExist", NoSuccess,
              [=] { return FileUtils::fileMustExist(path("nothing")); });
        check("dirMustExist", NoSuccess, [=] { return FileUtils::dirMustExist(path("nothing")); });
    }

    void streams()
    {
        const auto stream = [this](const char* name, QIODevice::OpenMode mode,
                                   const std::function<bool(FileStream&)>& work) {
            for (const auto extra : {QIODevice::NotOpen, QIODevice::Unbuffered})
                check(name, [&] {
                    FileStream file(path("own"), mode | extra);
                    file.enableNonBlockingMode(false);
                    if (!file.isOpen() || !work(file))
                        return false;
                    file.flush();
                    file.finishIO();
                    return !file.ioFailureDetected();
                });
        };
        stream("writeBlock", QIODevice::WriteOnly,
               [](FileStream& file) { return file.writeBlock(bytes.constData(), size); });
        stream("append", QIODevice::Append,
               [](FileStream& file) { return file.writeBlock("end", 3); });
        stream("setPosition and write", QIODevice::ReadWrite, [](FileStream& file) {
            return file.setPosition(20000) && file.writeBlock("here", 4);
        });
        stream("write in spite of setPosition", QIODevice::ReadWrite, [](FileStream& file) {
            return file.setPosition(20000), file.writeBlock("here", 4);
        });
        stream("move forwards", QIODevice::ReadWrite, [](FileStream& file) {
            return StreamUtils::copy(&file, 5000, 100, 30000) == 30000;
        });
        stream("move backwards", QIODevice::ReadWrite, [](FileStream& file) {
            return StreamUtils::copy(&file, 100, 5000, 30000) == 30000;
        });
        for (const int position : {0, 10}) {
            stream("copy of a stream", QIODevice::WriteOnly, [=](FileStream& file) {
                FileStream from(path("source"), QIODevice::ReadOnly);
                return StreamUtils::copy(&from, 0, &file, position, -1) == size;
            });
            stream("fast copy of a stream", QIODevice::WriteOnly, [=](FileStream& file) {
                FileStream from(path("source"), QIODevice::ReadOnly);
                return StreamUtils::copyFast(&from, 0, &file, position, -1) == size;
            });
            stream("fast copy of a mapping", QIODevice::WriteOnly, [=](FileStream& file) {
                MappedFileStream from(path("source"));
                return StreamUtils::copyFast(&from, 0, &file, position, -1) == size;
            });
        }
        check("mapped file", [this] {
            MappedFileStream file(path("source"));
            m_got.resize(size);
            return file.readBlock(m_got.data(), size) && !file.ioFailureDetected();
        });
        stream("readBlock", QIODevice::ReadOnly, [this](FileStream& file) {
            m_got.resize(size - 10);
            return file.setPosition(10) && file.readBlock(m_got.data(), size - 10);
        });
        stream("readAll", QIODevice::ReadOnly, [this](FileStream& file) {
            return m_got = file.readAll(), !file.ioFailureDetected();
        });
        stream("readAll to a vector", QIODevice::ReadOnly, [this](FileStream& file) {
            std::vector<unsigned char> read;
            file.readAll(read);
            m_got.append(reinterpret_cast<const char*>(read.data()), int(read.size()));
            return !file.ioFailureDetected();
        });
    }

    void access()
    {
        const auto transfers = [this](bool writing, bool threaded) {
            KelFileAccess file(path("own"));
            std::promise<qint64> count;
            connect(&file, writing ? &KelFileAccess::writeFinished : &KelFileAccess::readFinished,
                    [&](qint64 transferred) { count.set_value(transferred); });
            file.start();
            if (!file.open(writing ? QIODevice::WriteOnly : QIODevice::ReadOnly, false))
                return false;
            file.open(QIODevice::ReadOnly, threaded); // refused, but chooses the mode
            writing ? file.write(bytes) : file.read(m_got, all);
            const bool done
                = (!threaded || count.get_future().get() == size) && file.error() == QFile::NoError;
            file.close();
            return done && file.error() == QFile::NoError;
        };
        for (const bool threaded : {false, true})
            for (const bool writing : {false, true})
                check(writing ? "write" : "read", [=] { return transfers(writing, threaded); });
        for (const char* name : {"own", "new"}) // read, and written
            check("requests", [=] {
                QThreadPool pool; // whose thread goes with it
                AsyncFile file(path(name), &pool);
                const bool writing = name[0] == 'n';
                (void)file.open(writing ? QIODevice::WriteOnly : QIODevice::ReadOnly);
                (void)file.seek(0);
                AsyncFile::Request last;
                if (writing) {
                    for (const QByteArray& part : {bytes.left(9), bytes.mid(9, 9), bytes.mid(18)})
                        (void)file.write(part);
                    last = file.flush();
                } else {
                    last = file.read(all);
                }
                const AsyncFile::Request closed = file.close();
                m_got = last.result().data;
                return closed.result().ok();
            });
    }
};

} // namespace kel
#endif
