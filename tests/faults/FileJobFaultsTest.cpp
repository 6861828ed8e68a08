#include "faultyCalls.h"
#include "support/Entries.h"
#include "support/MountedFolder.h"
#include "support/testBytes.h"

#include <Quarn/filejobs/FileOperations.h>

#include <QTest>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>

using namespace kel;

namespace {

// The two before the last tell that a file system doesn't know a call.
constexpr int errors[] = {EIO, EACCES, ENOSPC, EEXIST, ENOTSUP, EINVAL, faultyCalls::shortCount};
const QByteArray bytes = testBytes(100000);
constexpr int hole = 1 << 20; // behind the bytes of a file
const QByteArray older = "older";

/** As it stands in a link; nothing for what is none. */
QByteArray targetOf(const QByteArray& path)
{
    std::error_code isNone;
    return std::filesystem::read_symlink(path.toStdString(), isNone).c_str();
}

using Snapshot = std::map<QByteArray, QByteArray>;
using Work = std::function<FileResult()>;

} // namespace

/**
 * Every call of the system that a job makes fails once, and for good, with each error, and is the last
 * one of the process. What is told as a success must be one, each file is whole or isn't there, and
 * none is lost.
 */
class FileJobFaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        QVERIFY2(m_faults.isEmpty(), std::exchange(m_faults, {}).join('\n').constData());
    }

    void cleanupTestCase() { qInfo("%d runs, %d crashes", m_runs, m_crashes); }

    void copies()
    {
        const QStringList given{m_near.at("tree"), m_near.at("link")};
        for (const auto policy : {ConflictPolicy::UniqueName, ConflictPolicy::Overwrite}) {
            TransferOptions options;
            options.conflict = policy;
            check("copy", [=] { return FileOperations::copy(given, m_near.at("to"), options); });
            check("copy there", [=] { return FileOperations::copy(given, m_far.path(), options); });
        }
    }

    void moves()
    {
        TransferOptions options;
        options.conflict = ConflictPolicy::Overwrite;
        const QStringList given{m_near.at("tree"), m_near.at("link")};
        check("move", [=] { return FileOperations::move(given, m_near.at("to"), options); });
        if (!m_far.isMounted())
            QSKIP("There is only one file system");
        check("move there", [=] { return FileOperations::move(given, m_far.path(), options); });
        const QStringList far{m_far.at("tree")};
        check("move from there",
              [=] { return FileOperations::move(far, m_near.at("to"), options); });
    }

    void removesAndCounts()
    {
        m_mayLose = true;
        const QStringList tree{m_near.at("tree")};
        check("remove", [=] { return FileOperations::remove(tree); });
        check("measure", [=] {
            FileResult result = FileOperations::measure(tree);
            if (result.ok() && (result.entries != 8 || result.bytes != 2 * bytes.size() + hole))
                m_faults << "measure: miscounted";
            return result;
        });
        check("find", [=] {
            int count = 0;
            FileResult result
                = FileOperations::find(tree.first(), {}, [&](const QString&) { ++count; });
            if (result.ok() && count != 3)
                m_faults << "find: found too little";
            return result;
        });
    }

private:
    void prepare() const
    {
        for (const TemporaryFolder* folder : m_folders)
            for (const auto& entry :
                 std::filesystem::directory_iterator(folder->root().toStdString()))
                std::filesystem::remove_all(entry);
        createEntries(m_near.root(), {"tree/a/b/c", "tree/a/p|", "tree/e/", "tree/f", "link>tree"});
        createEntries(m_near.root(), {"to/tree/f"});
        createEntries(m_far.root(), {"tree/f", "tree/g"});
        store(m_near.at("tree/a/b/c"), bytes);
        std::filesystem::resize_file(m_near.at("tree/a/b/c").toStdString(), bytes.size() + hole);
        store(m_near.at("tree/f"), bytes);
        store(m_near.at("to/tree/f"), older);
        store(m_far.at("tree/f"), older);
        store(m_far.at("tree/g"), bytes);
        std::filesystem::create_hard_link(m_near.at("tree/f").toStdString(),
                                          m_near.at("tree/twin").toStdString());
    }

    static void store(const QString& path, const QByteArray& data)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(data) == data.size());
    }

    Snapshot snapshot() const
    {
        Snapshot result;
        for (const TemporaryFolder* folder : m_folders) {
            for (const QByteArray& entry : entriesOf(folder->root())) {
                QFile file(folder->filePath(QString::fromUtf8(entry)));
                const QFileInfo info(file);
                const bool isFile = info.isFile() && !info.isSymLink();
                if (isFile)
                    file.open(QIODevice::ReadOnly);
                result[(folder == &m_near ? "near/" : "far/") + entry]
                    = isFile ? file.readAll() + QByteArray::number(int(file.permissions()))
                             : targetOf(folder->root() + '/' + entry);
            }
        }
        return result;
    }

    static Snapshot withoutPermissions(Snapshot snapshot)
    {
        for (auto& entry : snapshot)
            entry.second.chop(5); // their number
        return snapshot;
    }

    void check(const char* name, const Work& work)
    {
        prepare();
        const Snapshot former = snapshot();
        QVERIFY2(run(work, {0}), name);
        const Snapshot done = snapshot();
        const auto judge = [&](const Snapshot& found, bool claimed, bool mayLeaveTemporaries,
                               const faultyCalls::Fault& fault) {
            const bool isUnknown = fault.error == ENOTSUP || fault.error == EINVAL;
            if (claimed && isUnknown && m_failed == "fchmod"
                && withoutPermissions(found) == withoutPermissions(done))
                return; // which a file system need not have
            const QByteArray damage = claimed && found != done
                                          ? QByteArray("false success")
                                          : harm(former, done, found, mayLeaveTemporaries);
            if (!damage.isEmpty())
                m_faults << QByteArray(name) + ": " + damage + " at call "
                                + QByteArray::number(fault.nth) + ' ' + m_failed + ", error "
                                + QByteArray::number(fault.error)
                                + (fault.lasting ? " for good" : "");
        };
        for (const int error : errors) {
            for (const bool lasting : {false, true}) {
                faultyCalls::Fault fault{0, error, lasting};
                do {
                    ++fault.nth;
                    prepare();
                    const bool claimed = run(work, fault);
                    judge(snapshot(), claimed, lasting, fault);
                } while (!m_failed.isEmpty());
            }
        }
        for (faultyCalls::Fault fault{1, faultyCalls::kill}; crash(work, fault); ++fault.nth)
            judge(snapshot(), false, true, fault);
    }

    /** What is neither as it was nor as after a success, or is missing at both places. */
    QByteArray harm(const Snapshot& former, const Snapshot& done, const Snapshot& found,
                    bool mayLeaveTemporaries) const
    {
        const auto has = [](const Snapshot& snapshot, const auto& entry) {
            const auto other = snapshot.find(entry.first);
            return other != snapshot.end() && other->second == entry.second;
        };
        for (const auto& entry : found) {
            if (entry.first.contains("/.quarn-")) {
                if (!mayLeaveTemporaries)
                    return entry.first;
            } else if (!entry.first.endsWith('/') && !has(former, entry) && !has(done, entry)) {
                return entry.first;
            }
        }
        for (const auto& entry : former) {
            const bool isReplaced = entry.second.startsWith(older);
            if (m_mayLose || isReplaced || entry.first.endsWith('/') || has(found, entry))
                continue;
            const QByteArray path = entry.first.mid(entry.first.indexOf('/') + 1);
            const bool isElsewhere
                = std::any_of(found.begin(), found.end(), [&](const auto& other) {
                      return other.first.endsWith('/' + path) && other.second == entry.second;
                  });
            if (!isElsewhere)
                return entry.first;
        }
        return QByteArray();
    }

    bool run(const Work& work, const faultyCalls::Fault& fault)
    {
        ++m_runs;
        faultyCalls::arm(m_near.root().constData(), fault);
        const FileResult result = work();
        m_failed = faultyCalls::disarm();
        if (!result.ok() && !result.cancelled
            && (!result.what().startsWith(QLatin1String("Cannot "))
                || result.what().contains(QLatin1String("  "))))
            m_faults << "doesn't tell what it failed at: " + result.what().toUtf8();
        return result.ok();
    }

    /** Answers whether the process came to its end that way. */
    bool crash(const Work& work, const faultyCalls::Fault& fault)
    {
        prepare();
        ++m_crashes;
        const pid_t child = ::fork();
        if (child == 0) {
            faultyCalls::arm(m_near.root().constData(), fault);
            (void)work();
            ::_exit(0);
        }
        int status = 0;
        return ::waitpid(child, &status, 0) == child && WIFSIGNALED(status);
    }

    const TemporaryFolder m_near{QStringLiteral("/dev/shm")}; // where calls fail
    const MountedFolder m_far;
    const TemporaryFolder* const m_folders[2] = {&m_near, &m_far};
    QByteArray m_failed; // the call
    QList<QByteArray> m_faults;
    bool m_mayLose = false;
    int m_runs = 0, m_crashes = 0;
};

QTEST_GUILESS_MAIN(FileJobFaultsTest)
#include "FileJobFaultsTest.moc"
