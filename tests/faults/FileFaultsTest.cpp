#include "FileCases.h"
#include "faultyCalls.h"

#include <QProcess>
#include <QTest>

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

using namespace kel;

namespace {

constexpr int errors[]
    = {EIO, EACCES, ENOSPC, EDQUOT, ENOMEM, EMFILE, EROFS, faultyCalls::shortCount,
       // what tells that a file system doesn't know a call, or that it is to be repeated
       ENOTSUP, ENOSYS, EPERM, EXDEV, EINVAL, EINTR};

} // namespace

/**
 * Every call of the system that an operation makes fails once, and for good, with each error. What a
 * success leaves must be what it leaves without a fault.
 */
class FileFaultsTest : public FileCases
{
    Q_OBJECT

private Q_SLOTS:
    void cleanupTestCase()
    {
        qInfo("%d operations, %d runs, %d crashes", m_operations, m_runs, m_crashes);
    }

    void relay()
    {
        if (sizeof RELAY_PROGRAM == 1)
            QSKIP("is not built");
        check("relay", AllOrNothing, [this] {
            faultyCalls::disarm(); // the child of vfork() has no stack to look into a call
            if (m_fault.lasting || (m_fault.error > 0 && m_fault.error != EIO))
                return false; // it takes its time
            const QByteArray folder = m_folder.root();
            const QString command = QString::asprintf(
                "cd %s; LD_PRELOAD=" FAULTY_CALLS " QUARN_FAULT=%s:%d:%d:once exec " RELAY_PROGRAM
                " --quiet --save longer source",
                folder.data(), folder.data(), m_fault.nth, m_fault.error);
            QProcess relay;
            relay.start(QStringLiteral("sh"), {QStringLiteral("-c"), command});
            if (!relay.waitForFinished(60000) || relay.exitStatus() != QProcess::NormalExit)
                m_got = "crashed, or didn't end";
            const QByteArray said = relay.readAllStandardError();
            if (said.startsWith("faulty call: "))
                m_failed = said.left(said.indexOf('\n'));
            return relay.exitCode() == 0;
        });
    }

private:
    using FileCases::check;
    /** Runs \a work with one fault after the other, until it comes to its end without one. */
    void check(const char* name, Promise promise, const Work& work) override
    {
        prepare();
        const Snapshot former = snapshot();
        const bool claims = run(work, {0});
        const Snapshot done = snapshot();
        QVERIFY2(promise == AllOrNothing ? done != former : claims == (promise != NoSuccess), name);
        ++m_operations;
        for (const int error : errors) {
            for (const bool lasting : {false, true}) {
                if (lasting && error == EINTR)
                    continue; // is repeated without end
                do {
                    const bool claimed = run(work, {m_fault.nth + 1, error, lasting});
                    if (!isRight(promise, claimed, former, done))
                        m_faults << QString::asprintf("%s: %s with %s, call %d, error %d %s", name,
                                                      claimed ? "false success" : "damage",
                                                      m_failed.constData(), m_fault.nth, error,
                                                      lasting ? "for good" : "once")
                                        .toUtf8();
                } while (!m_failed.isEmpty());
                m_fault.nth = 0;
            }
        }
    }

    /** Ends the process at one call of \a work after the other. */
    void checkCrashes(const char* name, const Work& work) override
    {
        prepare();
        const Snapshot former = snapshot();
        run(work, {0});
        const Snapshot done = snapshot();
        for (int nth = 1, status = -1; status != 0; ++nth) {
            prepare();
            const pid_t child = ::fork();
            if (child == 0) {
                faultyCalls::arm(m_folder.root().constData(), {nth, faultyCalls::kill});
                work();
                ::_exit(0);
            }
            QCOMPARE(::waitpid(child, &status, 0), child);
            const Snapshot found = snapshot();
            if (found != done && (status == 0 || found != former))
                m_faults << QByteArray(name) + ": torn at call " + QByteArray::number(nth);
            ++m_crashes;
        }
    }

    bool isRight(Promise promise, bool claimed, const Snapshot& former, const Snapshot& done) const
    {
        if (!claimed && promise == NoFalseSuccess)
            return contents(path("source")) == bytes;
        const Snapshot found = snapshot();
        if (claimed && m_fault.error == EXDEV && found != done) {
            // It lies in the trash at the top of the file system, where it comes back from.
            for (const TrashedFile& file : FileUtils::trashedFiles())
                if (file.originalPath.startsWith(m_folder.path() + QLatin1Char('/')))
                    FileUtils::restoreFromTrash(file);
            return snapshot() == former;
        }
        return (!claimed && found == former) || (promise != NoSuccess && found == done);
    }

    bool run(const Work& work, const faultyCalls::Fault& fault)
    {
        prepare();
        ++m_runs;
        m_fault = fault;
        bool claimed = false;
        faultyCalls::arm(m_folder.root().constData(), fault);
        try {
            claimed = work();
        } catch (const std::exception&) { }
        if (const char* const call = faultyCalls::disarm())
            m_failed = call;
        return claimed;
    }
    faultyCalls::Fault m_fault; // of the run
    int m_crashes = 0;
};

QTEST_GUILESS_MAIN(FileFaultsTest)
#include "FileFaultsTest.moc"
