#include "FileCases.h"
#include "faultyAllocations.h"
#include "support/Thread.h"
#include "support/shell.h"

#include <Quarn/access/AccessTokenKeeper.h>
#include <Quarn/companion/Log.h>
#include <Quarn/filejobs/CopyJob.h>
#include <Quarn/filejobs/FileOperations.h>
#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/signature/CertificateVerifier.h>
#include <Quarn/signature/SignatureDigest.h>
#include <Quarn/signature/SignatureException.h>
#include <Quarn/signature/SignatureSigner.h>
#include <Quarn/signature/SignatureVerifier.h>
#include <Quarn/streams/QRandomAccessIO.h>

#include <QTest>
#include <QThreadPool>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <sstream>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kel;

namespace {

/** What goes wrong, as far as it may; all of it where memory is damaged. */
enum Harm { End = 1, Hang = 2, Leak = 4, Wrong = 8, All = 15 };

/** Where Qt cannot cope without memory, whatever the caller does, and what comes of it. */
constexpr struct
{
    const char* function;
    int harm;
} helpless[] = {{"QDir::entryInfoList", Leak | Wrong}, // takes the folder for an empty one
                {"QDirIterator::QDirIterator", Leak},
                {"QObject::QObject", All},
                {"QObject::connectImpl", All},
                {"QRegularExpression::match", Leak},
                {"QTextStream::", End},
                {"QThread::QThread", End},
                {"QThread::start", End},
                {"QTimer::QTimer", End},
                {"QThreadPool::start", End | Hang | Leak}};

// Keys of all kinds, and a signature by each.
constexpr char keys[] = R"(printf %1000s | tr ' ' d >data
openssl genrsa -out rsa.key 2048
openssl dsaparam -genkey -noout -out dsa.key 1024
openssl ecparam -name prime256v1 -genkey -noout -out ec.key
openssl genpkey -algorithm ED25519 -out ed.key
for key in rsa dsa ec ed; do
    openssl pkcs8 -topk8 -in $key.key -v2 aes-128-cbc -iter 1 -passout pass:word -out $key.pbkdf2
    openssl req -x509 -new -key $key.key -subj /CN=$key -out $key.crt
    openssl pkey -in $key.key -pubout -out $key.pub
    test $key = ed || digest="-digest sha256"
    openssl pkeyutl -sign -rawin $digest -inkey $key.key -in data -out $key.sig
    digest=
done
cat rsa.pub dsa.crt >mixed.pem
cat ec.crt rsa.crt >chain.pem
openssl rsa -in rsa.key -traditional -aes128 -passout pass:word -out rsa.dek
openssl req -new -key ec.key -subj /CN=code -out request
echo extendedKeyUsage=codeSigning >extensions
openssl x509 -req -in request -CA rsa.crt -CAkey rsa.key -CAcreateserial -extfile extensions \
    -out code.crt)";

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
void note(Harm harm, const char* fault)
{
    const std::string function = faultyAllocations::failedFunction();
    const bool ofQt = std::any_of(std::begin(helpless), std::end(helpless), [&](const auto& of) {
        return function.compare(0, std::strlen(of.function), of.function) == 0 && (of.harm & harm);
    });
    report().ofQt += ofQt;
    const std::size_t told = std::strlen(report().faults);
    if (!ofQt)
        std::snprintf(report().faults + told, sizeof report().faults - told,
                      "%s at allocation %d\n%s", fault, report().nth,
                      faultyAllocations::failure().c_str());
}

/** What comes now takes milliseconds; but the machine may be busy with something else. */
void limitTime()
{
    constexpr itimerval ofProcessor = {{}, {2, 0}};
    ::setitimer(ITIMER_PROF, &ofProcessor, nullptr);
    ::alarm(30);
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

    void publicKeys()
    {
        for (const char* const name : {"rsa.pub", "ec.crt", "ed.pub"})
            answers(name, [=] {
                const auto key = PublicKey::fromPemFile(m_keys.at(name));
                return key.fingerprint() + key.toPem() + char(key.securityBits());
            });
        const QByteArray root = m_keys.contents("rsa.crt"), chain = m_keys.contents("code.crt");
        answers("CertificateVerifier",
                [=] { return CertificateVerifier(root).verify(chain).fingerprint(); });
        check("CertificateVerifier, not trusted", NoSuccess,
              [=] { return !CertificateVerifier(chain).verify(root).isNull(); });
        QByteArrayList lines = m_keys.contents("rsa.pub").trimmed().split('\n');
        QByteArray der = QByteArray::fromBase64(lines.mid(1, lines.size() - 2).join());
        der.replace(QByteArray("\x02\x03\x01\x00\x01", 5), QByteArray("\x02\x03\x01\x00\x00", 5));
        const QByteArray even = lines.first() + '\n' + der.toBase64() + '\n' + lines.last() + '\n';
        QVERIFY(!PublicKey::fromPem(even).isNull());
        check("SignatureVerifier, with an even exponent", NoSuccess, [=] {
            const SignatureVerifier verifier(PublicKey::fromPem(even),
                                             SignatureScheme::RsaPssSha256);
            return true;
        });
    }

    void privateKeys()
    {
        const auto signs = [](const SignatureSigner& signer, SignatureScheme scheme) {
            const SignatureVerifier verifier(signer.publicKey(), scheme);
            return told(verifier.verify("data", signer.sign("data")));
        };
        const auto scheme = SignatureScheme::Ed25519;
        const std::pair<const char*, SignatureScheme> forms[]
            = {{"rsa.dek", SignatureScheme::RsaPssSha256},
               {"ec.key", SignatureScheme::EcdsaSha256},
               {"ed.pbkdf2", scheme}};
        for (const auto& form : forms)
            answers(form.first, [=] {
                const QString path = m_keys.at(form.first);
                return signs(SignatureSigner::fromPemFile(path, "word", form.second), form.second);
            });
        answers("generate", [=] { return signs(SignatureSigner::generate(scheme), scheme); });
        const auto signer = SignatureSigner::generate(scheme);
        const QByteArray word = "word";
        if (qEnvironmentVariableIsSet("QUARN_SLOW_TESTS")) // half a second each
            answers("toPem", [=] { return told(signer.toPem(word).size() > 300); });
        m_isAboutFiles = true;
        check("signFile", AllOrNothing, [=] {
            signer.signFile(path("source"), path("longer"));
            return true;
        });
    }

    void signatures()
    {
        const QByteArray data = m_keys.contents("data").repeated(3000);
        const auto signer = SignatureSigner::generate(SignatureScheme::EcdsaSha256);
        const QByteArray signature = signer.sign(data);
        const SignatureVerifier verifier(signer.publicKey(), SignatureScheme::EcdsaSha256);
        for (const QByteArray& given : {data, data + 'd'})
            answers("SignatureVerifier, of a device", [=] {
                QBuffer device;
                device.setData(given);
                return told(device.open(QIODevice::ReadOnly)
                            && verifier.verify(&device, signature));
            });
        answers("SignatureSigner, of a stream", [=] {
            const boost::shared_ptr<FileStream> stream(
                new FileStream(m_keys.at("data"), QIODevice::ReadOnly));
            return told(verifier.verify(m_keys.contents("data"), signer.sign(stream)));
        });
        for (const auto& item : {std::pair{"mixed.pem", "rsa.sig"},
                                 {"dsa.crt", "dsa.sig"},
                                 {"chain.pem", "ec.sig"},
                                 {"ec.crt", "dsa.sig"}}) {
            // NOLINTNEXTLINE(modernize-make-shared): tried again and again
            const auto digest = std::make_shared<SignatureDigest>(QCryptographicHash::Sha256);
            answers("SignatureDigest", [=] {
                *digest = SignatureDigest(QCryptographicHash::Sha256);
                digest->setPublicKeyFile(m_keys.at(item.first));
                SignatureDigest copy(*digest);
                return told(copy.verify1File(m_keys.at("data"), m_keys.at(item.second)))
                       + char('0' + digest->certificateChain().size());
            });
        }
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
                    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
                    constexpr rlimit noCore = {0, 0};
                    ::setrlimit(RLIMIT_CORE, &noCore);
                    tryAll(promise, work, lasting);
                    ::_exit(0);
                }
                int status = 0;
                QCOMPARE(::waitpid(child, &status, 0), child);
                const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
                const bool isHang = signal == SIGALRM || signal == SIGPROF;
                if (status != 0 && report().nth == 0)
                    m_faults << QByteArray(name) + ": doesn't work at all";
                else if (status != 0) // told here, as in the child nothing may be whole any more
                    note(isHang ? Hang : End, isHang ? "hang" : "crash");
                if (report().faults[0] != '\0')
                    m_faults << QByteArray(name) + (lasting ? ", for good: " : ", once: ")
                                    + report().faults;
                report().faults[0] = '\0';
            }
            m_runs += report().runs;
            m_ofQt += report().ofQt;
        }
    }

    static QByteArray told(bool answer) { return answer ? "true" : "false"; }

    /** An \a operation that gives the same as ever, if anything; once more for what it changes. */
    template <typename Operation>
    void answers(const char* name, Operation operation)
    {
        if (!QFile::exists(m_keys.at("data")))
            QCOMPARE(shellErrors(m_keys.path(), keys), QByteArray());
        m_isAboutFiles = false;
        check(name, AllOrNothing, [this, operation] {
            try {
                m_got = operation();
            } catch (const std::exception&) {
                if (m_isLasting)
                    throw;
                [&]() noexcept { m_got = operation(); }();
            }
            return true;
        });
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
        m_isLasting = lasting;
        for (const int signal : {SIGABRT, SIGBUS, SIGSEGV})
            std::signal(signal, SIG_DFL); // QtTest would call for a debugger
        std::set_terminate(std::abort);
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
        int next = faultyAllocations::next(report().nth);
        for (bool failed = true; failed || grown > 0;) {
            ++report().runs;
            prepare();
            limitTime();
            report().nth = next;
            const int before = faultyAllocations::live();
            faultyAllocations::arm(next, lasting);
            const bool claimed = attempt(work);
            failed = faultyAllocations::disarm();
            limitTime();
            if (const char* const fault = faultOf(promise, claimed, former, done, lasting))
                note(Wrong, fault);
            m_got = QByteArray();
            // What was put in the place of something else, as the texts of errors are, is none.
            const auto grows = [&] { return faultyAllocations::live() - before > kept; };
            const int patience = grown < 3 ? 5 : 30; // before it counts
            for (int tries = 0; grows() && tries < patience; ++tries)
                QThread::msleep(10); // a thread that was waited for frees a little later still
            grown = grows() && grown < 4 ? grown + 1 : 0;
            if (grown == 4)
                note(Leak, "leak");
            grown %= 4;
            for (int step = lasting && next > 100 ? 4 : 1; grown == 0 && step > 0; --step)
                next = faultyAllocations::next(next);
            prepare();
            if (attempt(work) != claims || snapshot() != done)
                note(Wrong, "not usable afterwards");
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

    TemporaryFolder m_keys;
    bool m_isLasting = false;
    int m_ofQt = 0;
};

QTEST_GUILESS_MAIN(AllocationFaultsTest)
#include "AllocationFaultsTest.moc"
