#include "faultyCalls.h"
#include "support/Entries.h"
#include "support/TemporaryFolder.h"
#include "support/testBytes.h"

#include <Quarn/access/KelFileAccess.h>
#include <Quarn/fileutils/FileUtils.h>
#include <Quarn/streams/StreamUtils.h>
#include <Quarn/streams/kelmQFile.h>

#include <QBuffer>
#include <QTest>

#include <cerrno>
#include <cstdio>
#include <limits>

using namespace kel;

namespace {

constexpr qint64 all = std::numeric_limits<qint64>::max();
constexpr int size = 40000;
constexpr int limitMsecs = 60000;
const QByteArray bytes = testBytes(size).replace('\r', 'r'); // which text mode would drop
const QByteArray text = QByteArray("Zeile \xc3\xa4\n").repeated(size / 9);
constexpr int errors[]
    = {EIO, EACCES, ENOSPC, EDQUOT, ENOMEM, EMFILE, EROFS, faultyCalls::shortCount};

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be opened)");
}

void store(const QString& path, const QByteArray& data)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.flush());
}

class Stream : public kelmQFile
{
public:
    using kelmQFile::kelmQFile;
    void setThroughputStats(quint64, quint64, quint64, quint64) override { }
};

} // namespace

/** What is done, and whether it says so; what is then to be true, and what is to be true anyway. */
struct Operation
{
    const char* name;
    std::function<bool()> claims; // success; an exception is a failure
    std::function<bool()> isRight; // asked after a claim
    std::function<bool()> isSound = [] { return true; }; // asked always
    std::function<void()> before = [] {}; // while nothing fails yet
};

/** Every call of the system that an operation makes fails once, and for good, in eight ways. */
class FileFaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("XDG_DATA_HOME", m_folder.root() + "/home");
        qputenv("TMPDIR", m_folder.root());
    }

    void wholeFiles()
    {
        const auto source = [this] { return path("source"); };
        const auto target = [this] { return path("target"); };
        const auto copied = [=] { return contents(target()) == bytes; };
        const auto untouched = [this] { return contents(path("twin")) == bytes; };
        QByteArray got;
        const auto gotAll = [&got] { return got == bytes; };
        const auto throughDevices = [=](QIODevice::OpenMode mode) {
            QFile from(source()), to(target());
            return from.open(QIODevice::ReadOnly | mode) && to.open(QIODevice::WriteOnly | mode)
                   && FileUtils::copy(&from, &to, all, 0) == size && to.flush();
        };
        check({
            {"readBytes", [&] { return got = FileUtils::readBytes(source()), true; }, gotAll},
            {"readText", [&] { return got = FileUtils::readText(path("text")).toUtf8(), true; },
             [&] { return got == text; }},
            {"equalsText, and it does",
             [=] { return FileUtils::equalsText(path("text"), QString::fromUtf8(text)); },
             [] { return true; }},
            {"equalsText, the beginning",
             [=] {
                 return FileUtils::equalsText(path("text"), QString::fromUtf8(text.left(16384)));
             },
             [] { return false; }},
            {"writeBytes, new", [=] { return FileUtils::writeBytes(bytes, target()) == size; },
             copied},
            {"writeBytes, over longer",
             [=] { return FileUtils::writeBytes(bytes, path("longer")) == size; },
             [=] { return contents(path("longer")) == bytes; }},
            {"writeBytes, empty", [=] { return FileUtils::writeBytes("", path("longer")) == 0; },
             [=] { return contents(path("longer")).isEmpty(); }},
            {"copy of names", [=] { return FileUtils::copy(source(), target(), all, 0) == size; },
             copied},
            {"copy of names, over longer",
             [=] { return FileUtils::copy(source(), path("longer"), all, 0) == size; },
             [=] { return contents(path("longer")) == bytes; }},
            {"copy onto itself",
             [=] { return FileUtils::copy(path("twin"), path("twin"), all, 0) != 0; }, untouched,
             untouched},
            {"copy onto its hard link",
             [=] { return FileUtils::copy(source(), path("twin"), all, 0) != 0; }, untouched,
             untouched},
            {"copy onto a link to it",
             [=] { return FileUtils::copy(source(), path("link"), all, 0) != 0; }, untouched,
             untouched},
            {"copy of an open file onto itself",
             [=] {
                 QFile from(path("twin"));
                 return from.open(QIODevice::ReadOnly)
                        && FileUtils::copy(&from, path("twin"), all, 0) != 0;
             },
             untouched, untouched},
            {"copy of a device to a name",
             [=] {
                 QBuffer from;
                 from.setData(bytes);
                 return from.open(QIODevice::ReadOnly)
                        && FileUtils::copy(&from, target(), all, 0) == size;
             },
             copied},
            {"copy of a name to a device",
             [&] {
                 QBuffer to(&got);
                 got.clear();
                 return to.open(QIODevice::WriteOnly)
                        && FileUtils::copy(source(), &to, all, 0) == size;
             },
             gotAll},
            {"copy of devices", [=] { return throughDevices(QIODevice::ReadOnly); }, copied},
            {"copy of unbuffered devices", [=] { return throughDevices(QIODevice::Unbuffered); },
             copied},
            {"copyText",
             [=] {
                 QFile to(target());
                 if (!to.open(QIODevice::WriteOnly))
                     return false;
                 FileUtils::copyText(QString::fromUtf8(text), &to);
                 return to.error() == QFile::NoError;
             },
             [=] { return contents(target()) == text; }},
            {"fileMustExist", [=] { return FileUtils::fileMustExist(path("nothing")); },
             [] { return false; }},
            {"dirMustExist", [=] { return FileUtils::dirMustExist(path("nothing")); },
             [] { return false; }},
        });
    }

    void comments()
    {
        const QString large(100000, QLatin1Char('c')), small = QStringLiteral("comment");
        const auto commentIs
            = [this](const QString& text) { return FileUtils::comment(path("twin")) == text; };
        const auto sets = [=](const char* name, const QString& text, const QString& before) {
            return Operation{name, [=] { return FileUtils::comment(path("twin"), text), false; },
                             [] { return true; },
                             [=] { return commentIs(text) || commentIs(before); },
                             [=] { FileUtils::comment(path("twin"), before); }};
        };
        check({sets("a first comment", small, QString()),
               sets("another comment", small, QStringLiteral("before")),
               sets("a first large comment", large, QString()),
               sets("a large comment instead of a small one", large, small),
               sets("a small comment instead of a large one", small, large),
               sets("another large comment", large, large + small),
               sets("no comment instead of a large one", QString(), large),
               {"a large comment is read",
                [=] { return !FileUtils::comment(path("twin")).isEmpty(); },
                [=] { return commentIs(large); }, [=] { return commentIs(large); },
                [=] { FileUtils::comment(path("twin"), large); }}});
    }

    void removals()
    {
        const auto isGone = [this](const char* name) {
            return [=] {
                return !QFileInfo(path(name)).isSymLink() && !QFileInfo::exists(path(name));
            };
        };
        const auto trashed = [this] { return contents(path("home/Trash/files/twin")) == bytes; };
        const auto kept = [this] { return contents(path("twin")) == bytes; };
        check({
            {"erase, a file", [this] { return FileUtils::erase(path("twin")); }, isGone("twin")},
            {"erase, a tree", [this] { return FileUtils::erase(path("tree")); }, isGone("tree")},
            {"erase, a link to a file", [this] { return FileUtils::erase(path("link")); },
             isGone("link")},
            {"moveToTrash", [this] { return FileUtils::moveToTrash(QFileInfo(path("twin"))); },
             [=] { return trashed() && !kept(); }, [=] { return trashed() != kept(); }},
            {"createTempDir", [] { return QFileInfo(FileUtils::createTempDir()).isDir(); },
             [] { return true; }},
        });
    }

    void streams()
    {
        using Work = std::function<bool(kelmQFile&)>;
        // Buffered and not, over a file of the same bytes each time.
        const auto streamed = [this](const char* name, QIODevice::OpenMode mode, const Work& work,
                                     const QByteArray& expected) {
            QList<Operation> both;
            for (const auto extra : {QIODevice::NotOpen, QIODevice::Unbuffered})
                both << Operation{name,
                                  [=] {
                                      Stream file(path("own"));
                                      if (!file.open(mode | extra) || !work(file))
                                          return false;
                                      file.flush();
                                      file.finishIO();
                                      return !file.ioFailureDetected();
                                  },
                                  [=] { return contents(path("own")) == expected; }};
            return both;
        };
        const auto moved = [](int from, int to) {
            return QByteArray(bytes).replace(to, 30000, bytes.mid(from, 30000));
        };
        QByteArray back(size, '\0');
        QList<Operation> operations;
        operations << streamed(
            "writeBlock", QIODevice::WriteOnly,
            [](kelmQFile& file) { return file.writeBlock(bytes.constData(), size); }, bytes)
                   << streamed(
                          "append", QIODevice::Append,
                          [](kelmQFile& file) { return file.writeBlock("end", 3); }, bytes + "end")
                   << streamed(
                          "setPosition and write", QIODevice::ReadWrite,
                          [](kelmQFile& file) {
                              return file.setPosition(20000) && file.writeBlock("here", 4);
                          },
                          QByteArray(bytes).replace(20000, 4, "here"))
                   << streamed(
                          "write in spite of setPosition", QIODevice::ReadWrite,
                          [](kelmQFile& file) {
                              return file.setPosition(20000), file.writeBlock("here", 4);
                          },
                          QByteArray(bytes).replace(20000, 4, "here"))
                   << streamed(
                          "move forwards", QIODevice::ReadWrite,
                          [](kelmQFile& file) {
                              return StreamUtils::copy(&file, 5000, 100, 30000) == 30000;
                          },
                          moved(5000, 100))
                   << streamed(
                          "move backwards", QIODevice::ReadWrite,
                          [](kelmQFile& file) {
                              return StreamUtils::copy(&file, 100, 5000, 30000) == 30000;
                          },
                          moved(100, 5000))
                   << streamed(
                          "copy from another stream", QIODevice::WriteOnly,
                          [this](kelmQFile& file) {
                              Stream from(path("source"));
                              return from.open(QIODevice::ReadOnly)
                                     && StreamUtils::copy(&from, &file, -1) == size;
                          },
                          bytes)
                   << streamed(
                          "copy backwards from another stream", QIODevice::WriteOnly,
                          [this](kelmQFile& file) {
                              Stream from(path("source"));
                              return from.open(QIODevice::ReadOnly)
                                     && StreamUtils::copy(&from, 0, &file, 10, size) == size;
                          },
                          QByteArray(10, '\0') + bytes)
                   << streamed(
                          "readBlock", QIODevice::ReadOnly,
                          [&](kelmQFile& file) {
                              return file.setPosition(10) && file.readBlock(back.data(), size - 10)
                                     && back.left(size - 10) != bytes.mid(10);
                          },
                          "never, unless other bytes were read")
                   << streamed(
                          "readAll", QIODevice::ReadOnly,
                          [&](kelmQFile& file) {
                              std::vector<unsigned char> read;
                              file.readAll(read);
                              return !file.ioFailureDetected() && read.size() != size;
                          },
                          "never, unless bytes are missing");
        check(operations);
    }

    void access()
    {
        const auto worker = [this](bool threaded, bool writing, QByteArray& data) {
            KelFileAccess file(path("own"));
            qint64 count = -2;
            connect(&file, writing ? &KelFileAccess::writeFinished : &KelFileAccess::readFinished,
                    &file, [&](qint64 transferred) { count = transferred; });
            file.start();
            if (!file.open(writing ? QIODevice::WriteOnly : QIODevice::ReadOnly, false))
                return false;
            file.open(QIODevice::ReadOnly, threaded); // refused, but chooses the mode
            writing ? file.write(data) : file.read(data, all);
            const bool told = !threaded || QTest::qWaitFor([&] { return count != -2; }, limitMsecs);
            const bool done
                = told && (!threaded || count == data.size()) && file.error() == QFile::NoError;
            file.close();
            return done && file.error() == QFile::NoError;
        };
        QByteArray got, given = bytes;
        QList<Operation> operations;
        for (const bool threaded : {false, true})
            operations << Operation{"write",
                                    [&, threaded] { return worker(threaded, true, given); },
                                    [this] { return contents(path("own")) == bytes; }}
                       << Operation{"read", [&, threaded] { return worker(threaded, false, got); },
                                    [&] { return got == bytes; }};
        check(operations);
    }

private:
    QString path(const char* name) const { return m_folder.filePath(QLatin1String(name)); }

    void prepare()
    {
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.root().toStdString()))
            std::filesystem::remove_all(entry);
        for (const char* name : {"source", "own"})
            store(path(name), bytes);
        store(path("longer"), bytes + "and more");
        store(path("text"), text);
        createEntries(m_folder.root(),
                      {"link>source", "tree/a/b/c", "tree/a/d", "tree/e/", "tree/f"});
        QVERIFY(::link((m_folder.root() + "/source").constData(),
                       (m_folder.root() + "/twin").constData())
                == 0);
    }

    /** Runs each operation with one fault after the other, until it comes to its end without one. */
    void check(const QList<Operation>& operations)
    {
        m_faults.clear();
        for (const Operation& operation : operations)
            for (const int error : errors)
                for (const bool lasting : {false, true})
                    for (int nth = 1, failed = 1; failed > 0; ++nth)
                        failed = run(operation, {nth, error, lasting});
        for (const QByteArray& fault : std::as_const(m_faults))
            std::fprintf(stderr, "%s\n", fault.constData()); // warnings come by the thousand
        QVERIFY(m_faults.isEmpty());
    }

    int run(const Operation& operation, const faultyCalls::Fault& fault)
    {
        prepare();
        operation.before();
        bool claimed = false;
        faultyCalls::arm(m_folder.root().constData(), fault);
        try {
            claimed = operation.claims();
        } catch (const std::exception&) { }
        const int failed = faultyCalls::disarm();
        const char* verdict = nullptr;
        if (claimed && !operation.isRight())
            verdict = ": false success with call ";
        else if (!operation.isSound() || contents(path("source")) != bytes)
            verdict = ": damage with call ";
        if (verdict)
            m_faults << QByteArray(operation.name) + verdict + QByteArray::number(fault.nth) + ", "
                            + faultyCalls::firstFailure() + ", error "
                            + QByteArray::number(fault.error)
                            + (fault.lasting ? " for good" : " once");
        return failed;
    }

    // In memory where there is some: nothing here depends on a disk.
    TemporaryFolder m_folder{QStringLiteral("/dev/shm")};
    QList<QByteArray> m_faults;
};

QTEST_GUILESS_MAIN(FileFaultsTest)
#include "FileFaultsTest.moc"
