#include "FileCases.h"
#include "faultyAllocations.h"
#include "support/Thread.h"

#include <Quarn/access/AccessTokenKeeper.h>
#include <Quarn/access/AsyncFile.h>
#include <Quarn/companion/Log.h>
#include <Quarn/filejobs/CopyJob.h>
#include <Quarn/filejobs/FileOperations.h>
#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/streams/QRandomAccessIO.h>

#include <QTest>
#include <QThreadPool>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <sstream>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kel;

namespace {

/**
 * Where Qt cannot cope: without memory it ends the program there, or leaves something half-made,
 * or takes a folder that it cannot list for an empty one, whatever the caller does.
 */
constexpr const char* helpless[] = {"QDir::entryInfoList",
                                    "QDirIterator::",
                                    "QObject::connect",
                                    "QObject::QObject",
                                    "QThread::QThread",
                                    "QThread::start",
                                    "QThreadPool::start",
                                    "QTextStream::",
                                    "QTimer::QTimer",
                                    "QRegularExpression::match",
                                    "QtPrivate::ResultStoreBase::"};

/** What a child tells, in memory that it shares with this process. */
struct Report
{
    int nth; // the run that it is at
    int runs;
    int ofQt; // runs that went wrong where Qt cannot cope
    bool isThrough;
    char faults[1 << 18];
};

Report& report()
{
    static Report& shared = *static_cast<Report*>(
        ::mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    return shared;
}

/** Notes \a fault of the current run, unless it is of Qt. */
void note(const char* fault)
{
    const std::string function = faultyAllocations::failedFunction();
    const bool ofQt = std::any_of(std::begin(helpless), std::end(helpless), [&](const char* name) {
        return function.compare(0, std::strlen(name), name) == 0;
    });
    report().ofQt += ofQt;
    const std::size_t told = std::strlen(report().faults);
    if (!ofQt)
        std::snprintf(report().faults + told, sizeof report().faults - told,
                      "%s at allocation %d\n%s", fault, report().nth,
                      faultyAllocations::failure().c_str());
}

void die(const char* how)
{
    std::signal(SIGALRM, SIG_DFL); // should even this not come to its end
    ::alarm(5);
    (void)faultyAllocations::disarm();
    note(how);
    ::_exit(1);
}

} // namespace

/**
 * Every allocation that an operation makes fails once, and for good, of whatever thread and library.
 * Each operation ends as documented, leaves nothing behind, and works when it is tried again.
 */
class AllocationFaultsTest : public FileCases
{
    Q_OBJECT

private Q_SLOTS:
    void names()
    {
        const QDir tree(path("tree")), folder(m_folder.path());
        check("uniqueFileName", [=] {
            m_got = FileUtils::uniqueFileName(folder, QStringLiteral("text"), "%d", false).toUtf8();
            return !m_got.isEmpty();
        });
        check("findFiles", [=] {
            for (const QFileInfo& file : FileUtils::findFiles(tree, QString(), true, QDir::Name))
                m_got += file.filePath().toUtf8();
            return !m_got.isEmpty();
        });
        check("dirSize", [=] { return FileUtils::dirSize(tree, {}, QDir::Filters(), true) == 24; });
        check("paths", [=] {
            m_got = FileUtils::canonicalFilePath(path("link")).toUtf8();
            return FileUtils::exists(folder, QStringLiteral("text"), true)
                   && !FileUtils::safeFilePath(folder, QStringLiteral("a/b")).isEmpty();
        });
    }

    void jobs()
    {
        const QStringList given{path("tree"), path("link")};
        TransferOptions overwriting;
        overwriting.conflict = ConflictPolicy::Overwrite;
        m_before = [=] { createEntries(m_folder.root(), {"to/tree/f"}); };
        const QString to = path("to");
        check("FileOperations::copy", [=] { return FileOperations::copy(given, to).ok(); });
        check("FileOperations::copy, overwriting",
              [=] { return FileOperations::copy(given, to, overwriting).ok(); });
        check("FileOperations::move",
              [=] { return FileOperations::move(given, to, overwriting).ok(); });
        check("FileOperations::remove", [=] { return FileOperations::remove(given).ok(); });
        check("FileOperations::trash", [=] { return FileOperations::trash(given).ok(); });
        check("FileOperations::measure", [=] {
            const FileResult result = FileOperations::measure(given);
            return result.ok() && (m_got = QByteArray::number(result.bytes), true);
        });
        check("FileOperations::find", [=] {
            return FileOperations::find(given.first(), {},
                                        [&](const QString& found) { m_got += found.toUtf8(); })
                .ok();
        });
        check("CopyJob", [=] {
            QThreadPool pool;
            CopyJob job(given, to);
            job.setThreadPool(&pool);
            FileResult result;
            connect(&job, &FileJob::finished, this, [&](const FileResult& told) { result = told; });
            job.start();
            const bool finished = job.waitForFinished();
            QCoreApplication::sendPostedEvents();
            return finished && job.result().ok();
        });
    }

    void asyncFile()
    {
        check("AsyncFile", [=] {
            QThreadPool pool; // whose threads go with it
            AsyncFile file(path("own"), &pool);
            (void)file.open(QIODevice::ReadWrite);
            for (const char* const part : {"first", "second"})
                (void)file.write(part);
            (void)file.seek(0);
            const AsyncFile::Request read = file.read(size);
            (void)file.flush();
            const AsyncFile::Request closed = file.close();
            const bool done = closed.result().ok();
            m_got = read.result().data;
            return done;
        });
    }

    void tokens()
    {
        check("AccessTokenKeeper", [] {
            AccessTokenKeeper tokens;
            for (const wchar_t* password : {L"one", L"one", L"a password that is a little longer"})
                (void)tokens.getLoggedOnToken(L"scope of some length", L"user", password);
            const bool forgotten = tokens.forget(L"scope of some length", L"user");
            tokens.clear();
            return forgotten;
        });
    }

    void multiuser()
    {
        const auto buffer = [] { return new MultiUserBuffer; };
        const auto spool = [this] {
            MultiUserSpool::Settings settings;
            settings.memoryLimit = 10000;
            settings.spillFolder = m_folder.path();
            return new MultiUserSpool(settings);
        };
        checkReaders<MultiUserBuffer>("MultiUserBuffer", buffer);
        checkReaders<MultiUserSpool>("MultiUserSpool", spool);
    }

    void memoryStreams()
    {
        check("QRandomAccessIO", [=] {
            QByteArray given = bytes;
            QRandomAccessIO memory(&given);
            if (!memory.open(QIODevice::ReadWrite) || !memory.setPosition(size)
                || !memory.writeBlock(bytes.constData(), size))
                return false;
            const bool copied = StreamUtils::copy(&memory, 0, 10000, 50000) == 50000;
            m_got = given;
            return copied && !memory.ioFailureDetected();
        });
        check("Log", [] {
            std::wostringstream lines;
            Log::instance().setStream(Log::Warning, &lines);
            Log::instance().write(Log::Warning, std::wstring(500, L'l'));
            Log::instance().setStream(Log::Warning, nullptr);
            return lines.str().size() > 500;
        });
    }

    void cleanupTestCase()
    {
        qInfo("%d operations, %d runs, in %d of which Qt cannot cope", m_operations, m_runs,
              m_ofQt);
    }

private:
    using FileCases::check;

    void check(const char* name, Promise promise, const Work& work) override
    {
        ++m_operations;
        for (const bool lasting : {false, true}) {
            report() = Report();
            while (!report().isThrough && m_faults.size() < 20) {
                const pid_t child = ::fork(); // goes on with the next run when one has ended it
                if (child == 0) {
                    tryAll(promise, work, lasting);
                    ::_exit(0);
                }
                int status = 0;
                QCOMPARE(::waitpid(child, &status, 0), child);
                if (status != 0 && report().nth == 0)
                    m_faults << QByteArray(name) + ": doesn't work at all";
                if (report().faults[0] != '\0')
                    m_faults << QByteArray(name) + (lasting ? ", for good: " : ", once: ")
                                    + report().faults;
                report().faults[0] = '\0';
            }
            m_runs += report().runs;
            m_ofQt += report().ofQt;
        }
    }

    template <typename Stream, typename Maker>
    void checkReaders(const char* name, Maker make)
    {
        check(name, [this, make] {
            const boost::shared_ptr<Stream> stream(make());
            const auto reader = Stream::createReaderInterface(stream, false);
            int told = 0;
            const auto connection
                = connect(stream.get(), &QIODevice::bytesWritten, this, [&] { ++told; });
            const auto work = [&]() noexcept { // none of these throws
                const bool written = stream->writeBlock(bytes.constData(), size);
                QCoreApplication::sendPostedEvents();
                stream->finishIO();
                return written && !stream->ioFailureDetected();
            };
            if (!work())
                return false;
            m_got.resize(size);
            const auto read = [&]() noexcept {
                return reader->readBlock(m_got.data(), size) && !reader->ioFailureDetected();
            };
            return read();
        });
        check(name, [this, make] { // by a thread that waits
            const boost::shared_ptr<Stream> stream(make());
            m_got.resize(size);
            bool read = false;
            Thread thread([&] {
                try {
                    const auto reader = Stream::createReaderInterface(stream, true);
                    read = reader->readBlock(m_got.data(), size);
                } catch (const std::bad_alloc&) { }
            });
            thread.start();
            const bool written = stream->writeBlock(bytes.constData(), size);
            stream->finishIO();
            thread.wait();
            return written && read;
        });
    }

    void checkCrashes(const char*, const Work&) override { }

    void tryAll(Promise promise, const Work& work, bool lasting)
    {
        std::signal(SIGSEGV, [](int) { die("crash"); });
        std::signal(SIGABRT, [](int) { die("abort"); });
        std::signal(SIGALRM, [](int) { die("hang"); });
        std::set_terminate([] { die("exception to nobody"); });
        (void)qt_error_string(ENOMEM); // what is made with the first use of all
        prepare();
        const Snapshot former = snapshot();
        const bool claims = attempt(work);
        const Snapshot done = snapshot();
        prepare();
        faultyAllocations::arm(0, false);
        (void)attempt(work);
        (void)faultyAllocations::disarm();
        m_got = QByteArray();
        const int kept = faultyAllocations::live();
        int grown = 0; // tries of one run that left more than the others; first uses do so, too
        for (bool failed = true; failed || grown > 0;) {
            ++report().runs;
            prepare();
            ::alarm(10);
            faultyAllocations::arm(++report().nth, lasting);
            const bool claimed = attempt(work);
            failed = faultyAllocations::disarm();
            ::alarm(10);
            if (const char* const fault = faultOf(promise, claimed, former, done, lasting))
                note(fault);
            m_got = QByteArray();
            for (int tries = 0; faultyAllocations::live() > kept && tries < 5; ++tries)
                QThread::msleep(10); // a thread that was waited for frees a little later still
            grown = faultyAllocations::live() > kept && grown < 4 ? grown + 1 : 0;
            if (grown == 4)
                note("leak");
            report().nth -= grown > 0 && grown < 4;
            grown %= 4;
            prepare();
            if (attempt(work) != claims || snapshot() != done)
                note("not usable afterwards");
        }
        report().isThrough = true;
    }

    const char* faultOf(Promise promise, bool claimed, const Snapshot& former, const Snapshot& done,
                        bool lasting) const
    {
        const Snapshot found = snapshot();
        // Without any memory a temporary folder cannot be removed either.
        const bool strays
            = !lasting && std::any_of(found.begin(), found.end(), [&](const auto& entry) {
                  return former.count(entry.first) + done.count(entry.first) == 0
                         && !entry.first.endsWith('/'); // a folder that nothing was done in yet
              });
        if (strays)
            return "stray";
        if (claimed && (promise == NoSuccess || found != done))
            return "false success";
        const bool isAsItWas = promise == NoFalseSuccess ? contents(path("source")) == bytes
                                                         : found == former || found == done;
        return claimed || isAsItWas ? nullptr : "damage";
    }

    static bool attempt(const Work& work)
    {
        try {
            return work();
        } catch (const std::exception&) {
            return false;
        }
    }

    int m_ofQt = 0;
};

QTEST_GUILESS_MAIN(AllocationFaultsTest)
#include "AllocationFaultsTest.moc"
