#include "support/Entries.h"
#include "support/TemporaryFolder.h"

#include <Quarn/companion/FileException.h>
#include <Quarn/filejobs/FileOperations.h>
#include <Quarn/fileutils/FileManager_p.h>
#include <Quarn/fileutils/FileUtils.h>
#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/platform/FolderRemoval_p.h>
#include <Quarn/platform/Logon_p.h>
#include <Quarn/platform/OpenFolder_p.h>
#include <Quarn/platform/SpillFile_p.h>
#include <Quarn/platform/SystemError_p.h>
#include <Quarn/platform/Trash_p.h>
#include <Quarn/platform/windows/SystemCalls_p.h>
#include <Quarn/platform/windows/SystemPath_p.h>
#include <Quarn/streams/FileStream.h>
#include <Quarn/streams/MappedFileStream.h>

#include <QTest>

using namespace kel;

namespace {

QStringList recorded;

QString text(const wchar_t* from)
{
    return QString::fromWCharArray(from);
}

/** All with the reparse tag of a junction in its name, as Wine has no other. */
BOOL marked(BOOL found, WIN32_FIND_DATAW* data)
{
    if (found && text(data->cFileName).startsWith(QLatin1String("junction"))) {
        data->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
        data->dwReserved0 = IO_REPARSE_TAG_MOUNT_POINT;
    }
    return found;
}

/** Keeps others from a file for as long as it lives. */
struct Exclusive
{
    explicit Exclusive(const QString& path)
        : handle(::CreateFileW(systemPath(path).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0,
                               nullptr))
    { }
    ~Exclusive() { ::CloseHandle(handle); }

    const HANDLE handle;
};

} // namespace

/** What is asked of the system, and the habits of its paths and files. */
class WindowsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        recorded.clear();
        systemCalls().closeHandle = [](HANDLE handle) -> BOOL {
            recorded << QStringLiteral("close %1").arg(quintptr(handle));
            return TRUE;
        };
    }

    void asksTheShellForTheTrash()
    {
        systemCalls().fileOperation = [](SHFILEOPSTRUCTW* operation) {
            // Both zeros, of the name and of the list.
            const auto end = text(operation->pFrom).size();
            recorded << text(operation->pFrom) << QString::number(operation->wFunc)
                     << QString::number(operation->fFlags)
                     << QString::number(operation->pFrom[end + 1]);
            const bool rest = operation->pTo || operation->hwnd || operation->lpszProgressTitle;
            return rest ? 1 : 0;
        };
        moveToTrash(QStringLiteral("C:/a b/\u00fc.txt"));
        QCOMPARE(recorded, QStringList({QStringLiteral("C:\\a b\\\u00fc.txt"), QStringLiteral("3"),
                                        QStringLiteral("64"), QStringLiteral("0")}));
        recorded.clear();
        // It would have been C:\a, and all there is.
        for (const QString& path :
             {QStringLiteral("C:/a") + QChar(QChar::Null), QStringLiteral("/"),
              QStringLiteral("C:/a/.."), QStringLiteral("//server/share/")})
            QVERIFY2(!moveToTrash(path) && recorded.isEmpty(), qPrintable(path));
    }

    void logsOnWithNewCredentials()
    {
        systemCalls().logonUser
            = [](const wchar_t* user, const wchar_t* domain, const wchar_t* password, DWORD type,
                 DWORD provider, HANDLE* token) -> BOOL {
            recorded << text(user) << text(domain) << text(password) << QString::number(type)
                     << QString::number(provider);
            *token = reinterpret_cast<HANDLE>(quintptr(0x44));
            return recorded.first() != QLatin1String("nobody");
        };
        void* token = nullptr; // two units make one character
        QVERIFY(openLogonToken(L"anna\U0001f600", L"\U0001f511secret", &token));
        closeLogonToken(token);
        QCOMPARE(recorded.join(QLatin1Char(' ')),
                 QStringLiteral("anna\U0001f600 . \U0001f511secret 9 0 close 68"));
        recorded.clear();
        QVERIFY(!openLogonToken(L"nobody", L"", &token));
        recorded.clear(); // none is cut at a zero
        const std::wstring cut(L"anna\0x", 6);
        QVERIFY(!openLogonToken(cut, L"secret", &token) && !openLogonToken(L"anna", cut, &token)
                && recorded.isEmpty());
    }

    void showsAFileInPieces()
    {
        systemCalls().startDetached = [](const QString& program, const QString& arguments) {
            recorded << program.section(QLatin1Char('\\'), -1) << arguments;
            return true;
        };
        showInFileManager(QStringLiteral("C:/My Data/a  b, c.avi"));
        QCOMPARE(recorded, QStringList({QStringLiteral("explorer.exe"),
                                        QStringLiteral("/select,C:\\My Data\\a  b, c.avi")}));
    }

    void pathsOfTheSystem()
    {
        const auto path = [](const char* of) { return systemPath(QString::fromUtf8(of)); };
        QCOMPARE(text(path("C:/a//b/../c. ").c_str()), QStringLiteral("\\\\?\\C:\\a\\c"));
        QCOMPARE(text(path("//server/share/x").c_str()),
                 QStringLiteral("\\\\?\\UNC\\server\\share\\x"));
        QCOMPARE(text(path("C:/con").c_str()).section(QLatin1Char('\\'), -1),
                 QStringLiteral("con"));
        QVERIFY(path("").empty());
        QCOMPARE(path("x"), systemPath(QDir::currentPath() + QStringLiteral("/x")));
        const QString unpaired = QStringLiteral("C:/") + QChar(0xd800); // stays, though no text
        QVERIFY(systemPath(unpaired).back() == 0xd800);
    }

    void longPaths()
    {
        const TemporaryFolder folder;
        QString path = folder.path();
        while (path.size() < 600)
            path += QLatin1Char('/') + QString(50, QLatin1Char('n'));
        QVERIFY(QDir().mkpath(path));
        const QString file = path + QStringLiteral("/file");
        QCOMPARE(FileUtils::writeBytes("contents", file), 8);
        // Nothing goes from a file to itself, which would empty it.
        QCOMPARE(FileUtils::copy(file, file, 1000, 0), qint64(0));
        QCOMPARE(FileUtils::readBytes(file), QByteArray("contents"));
        QCOMPARE(FileUtils::findFiles(QDir(folder.path()), QString(), true, QDir::Name).size(), 1);
        QCOMPARE(FileUtils::dirSize(QDir(folder.path()), {}, QDir::Files | QDir::AllDirs, true),
                 qint64(8));
        MultiUserSpoolSettings spilling;
        spilling.memoryLimit = 1;
        spilling.keep = MultiUserSpoolSettings::KeepEverything;
        spilling.atLimit = MultiUserSpoolSettings::SpillToDisk;
        spilling.spillFolder = path;
        {
            MultiUserSpool spool(spilling);
            QVERIFY2(spool.write(QByteArray(100000, 'x')) == 100000,
                     qPrintable(spool.errorString()));
        }
        const QString top = path.left(folder.path().size() + 51);
        const QString copied
            = folder.path() + QStringLiteral("/to") + file.mid(folder.path().size());
        QVERIFY(QDir().mkdir(folder.at("to")));
        const FileResult copy = FileOperations::copy({top}, folder.at("to"));
        QVERIFY2(copy.ok(), qPrintable(copy.what()));
        FileUtils::saveBytes("new", file);
        QVERIFY(MappedFileStream(copied).streamSize() == 8 && QFileInfo(file).size() == 3);
        QVERIFY(FileOperations::remove({folder.at("to")}).ok() && FileUtils::erase(top));
        QVERIFY(entriesOf(folder.root()).isEmpty());
    }

    /** Where a long ends, and what the system takes in halves goes on. */
    void beyondFourGigabytes()
    {
        const TemporaryFolder folder;
        constexpr qint64 beyond = (qint64(1) << 32) + 3;
        const QString path = folder.at("large");
        FileStream file(path, QIODevice::ReadWrite);
        QVERIFY(file.setPosition(beyond) && file.writeBlock("far", 3));
        file.flush();
        QCOMPARE(FileUtils::dirSize(QDir(folder.path()), {}, QDir::Files, false), beyond + 3);
        QCOMPARE(FileOperations::measure({path}).bytes, beyond + 3);
        const MappedFileStream mapped(path);
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(mapped.data(beyond, 3)), 3),
                 QByteArray("far"));
        QString reason;
        char read[5] = "";
        SpillFile spill;
        QVERIFY2(spill.open(folder.path(), &reason) && spill.write(3, "near", 4, &reason)
                     && spill.write(beyond, "far!", 4, &reason) && spill.read(3, read, 4, &reason),
                 qPrintable(reason));
        QCOMPARE(read, "near");
    }

    void erasesNoJunctionAndAllNames()
    {
        const TemporaryFolder folder;
        createEntries(folder.root(), {"t/junction/inside", "t/a/b", "t/z", "u/x/y"});
        // Names that the usual form of a path cannot tell from others.
        for (const char* const name : {"u/x/dot.", "u/x/blank ", "u/x/nul", "u/x/\ufeffmark"}) {
            const std::wstring path = systemPath(folder.path()) + L'\\'
                                      + QString::fromUtf8(name).replace(u'/', u'\\').toStdWString();
            const HANDLE made
                = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
            QVERIFY2(made != INVALID_HANDLE_VALUE, name);
            ::CloseHandle(made);
        }
        systemCalls().findFirstFile = [](LPCWSTR path, FINDEX_INFO_LEVELS level, void* data,
                                         FINDEX_SEARCH_OPS operation, void* filter, DWORD flags) {
            const HANDLE search = ::FindFirstFileExW(path, level, data, operation, filter, flags);
            marked(search != INVALID_HANDLE_VALUE, static_cast<WIN32_FIND_DATAW*>(data));
            return search;
        };
        systemCalls().findNextFile = [](HANDLE search, WIN32_FIND_DATAW* data) {
            return marked(::FindNextFileW(search, data), data);
        };
        systemCalls().fileInformation
            = [](HANDLE, FILE_INFO_BY_HANDLE_CLASS, void* data, DWORD) -> BOOL {
            *static_cast<FILE_ATTRIBUTE_TAG_INFO*>(data)
                = {FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT,
                   IO_REPARSE_TAG_MOUNT_POINT};
            return TRUE;
        };
        { // as those see it who walk, copy and move
            OpenFolder parent, other, inside;
            EntryStatus status;
            Entries names;
            const auto visit = [&](SystemNameView name, EntryType type) {
                names << (type == EntryType::Link ? '>' : ' ') + displayName(name).toUtf8();
                return true;
            };
            QVERIFY(parent.open(folder.at("t")) == 0 && parent.list(visit) == 0);
            QVERIFY(other.open(folder.at("u/x")) == 0 && other.list(visit) == 0);
            for (const char* const name : {">junction", " a", " \ufeffmark"})
                QVERIFY2(names.contains(name), name);
            QCOMPARE(inside.enter(parent, L"junction"), systemError::isNoFolder);
            QVERIFY(parent.status(L"junction", status) == 0 && status.type == EntryType::Link);
        }
        QVERIFY(!removeFolder(folder.at("t"))); // the rest goes, as beside any link
        QVERIFY(removeFolder(folder.at("u")));
        QVERIFY(removeAll(folder.at("t"))
                != 0); // of the junction itself, which holds something here
        QCOMPARE(entriesOf(folder.root()), Entries{"t/junction/inside"});
    }

    void filesThatResist()
    {
        const TemporaryFolder folder;
        createEntries(folder.root(), {"t/a", "t/b", "t/c"});
        const QString file = folder.at("t/b");
        QVERIFY(QFile::setPermissions(file, QFile::ReadOwner | QFile::ReadUser));
        QVERIFY(!FileUtils::erase(file) && !FileUtils::erase(folder.at("t")));
        QCOMPARE(entriesOf(folder.root()), Entries({"t/b", "t/c"})); // in the order of the names
        QVERIFY(QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner));
        {
            const Exclusive open(file); // elsewhere
            QVERIFY(open.handle != INVALID_HANDLE_VALUE);
            QString reason;
            try {
                FileUtils::readBytes(file);
            } catch (const FileException& exception) {
                reason = exception.message();
            }
            QVERIFY2(reason.contains(qt_error_string(ERROR_SHARING_VIOLATION)), qPrintable(reason));
            QVERIFY(!FileUtils::erase(folder.at("t")) && QFile::exists(file));
        }
        QVERIFY(FileUtils::erase(folder.at("t")));
        createEntries(folder.root(), {"t/a/b"});
        QVERIFY(QFile::setPermissions(folder.at("t/a/b"), QFile::ReadOwner | QFile::ReadUser));
        QVERIFY(removeAll(folder.at("t")) == 0 && removeAll(folder.at("t")) == 0);
        QCOMPARE(entriesOf(folder.root()), Entries());
    }

    void treesAsAWhole()
    {
        const TemporaryFolder folder;
        const Entries tree = {"t/a", "t/b/c", "t/e/", "t/r"};
        createEntries(folder.root(), {"to/", "away/"});
        createEntries(folder.root() + "/from", tree);
        QVERIFY(QFile::setPermissions(folder.at("from/t/r"), QFile::ReadOwner | QFile::ReadUser));
        const auto check = [&](const FileResult& result, const QByteArray& where, qint64 entries) {
            QVERIFY2(result.ok() && result.entries == entries, qPrintable(result.what()));
            QCOMPARE(entriesOf(folder.root() + where), tree);
        };
        check(FileOperations::measure({folder.at("from/t")}), "/from", 6);
        check(FileOperations::copy({folder.at("from/t")}, folder.at("to")), "/to", 6);
        QVERIFY(!QFileInfo(folder.at("to/t/r")).isWritable());
        QCOMPARE(FileUtils::readBytes(folder.at("to/t/b/c")), QByteArray("contents"));
        QVERIFY(!FileOperations::copy({folder.at("from/t")}, folder.at("to")).ok()); // is there
        check(FileOperations::move({folder.at("to/t")}, folder.at("away")), "/away", 1);
        {
            const Exclusive open(folder.at("away/t/a"));
            const FileResult held = FileOperations::remove({folder.at("away")});
            QVERIFY2(held.what().contains(qt_error_string(ERROR_SHARING_VIOLATION)),
                     qPrintable(held.what()));
        }
        QVERIFY(FileOperations::remove({folder.at("away"), folder.at("from")}).ok());
        QCOMPARE(entriesOf(folder.root()), Entries{"to/"});
    }

    void savesWholeOrNotAtAll()
    {
        const TemporaryFolder folder;
        createEntries(folder.root(), {"f"});
        const QString file = folder.at("f");
        QVERIFY(QFile::link(file, folder.at("f.lnk")));
        for (const QString& saved : {file, folder.at("f.lnk")}) { // a shortcut is no link
            FileUtils::saveBytes("new\r\n", saved);
            QCOMPARE(folder.contents(qPrintable(saved.mid(folder.path().size() + 1))),
                     QByteArray("new\r\n"));
        }
        {
            const Exclusive open(file);
            QVERIFY_EXCEPTION_THROWN(FileUtils::saveBytes("newer", file), FileException);
        }
        QVERIFY_EXCEPTION_THROWN(FileUtils::saveBytes("x", folder.at("no/f")), FileException);
        QCOMPARE(entriesOf(folder.root()), Entries({"f", "f.lnk"}));
        QCOMPARE(FileUtils::readText(file), QStringLiteral("new\n"));
    }

    void namesRegardlessOfLetterCase()
    {
        const TemporaryFolder folder;
        Entries names{"Report.txt"};
        for (int i = 2; i < 60; ++i) // more than are asked for one by one
            names << "REPORT_" + QByteArray::number(i) + ".TXT";
        createEntries(folder.root(), names);
        for (const bool exact : {false, true})
            QCOMPARE(FileUtils::uniqueFileName(QDir(folder.path()), QStringLiteral("report.txt"),
                                               "_%d", exact),
                     QStringLiteral("report_60.txt"));
    }

    void textModeWritesBothCharacters()
    {
        const TemporaryFolder folder;
        const QString file = folder.at("file");
        QCOMPARE(FileUtils::writeBytes("a\nb\n", file), 4);
        QCOMPARE(QFile(file).size(), qint64(6));
        QCOMPARE(FileUtils::readBytes(file), QByteArray("a\nb\n"));
        QCOMPARE(FileUtils::readText(file), QStringLiteral("a\nb\n"));
    }
};

QTEST_GUILESS_MAIN(WindowsTest)
#include "WindowsTest.moc"
