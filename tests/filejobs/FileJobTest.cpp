#include "GeneratedTree.h"
#include "support/Entries.h"
#include "support/TemporaryFolder.h"

#include <Quarn/filejobs/CopyJob.h>
#include <Quarn/filejobs/FindJob.h>
#include <Quarn/filejobs/MoveJob.h>
#include <Quarn/filejobs/RemoveJob.h>
#include <Quarn/filejobs/SizeJob.h>
#include <Quarn/filejobs/TrashJob.h>

#include <QElapsedTimer>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>

#include <atomic>
#include <memory>
#include <stdexcept>

using namespace kel;

/** What the jobs add to FileOperations: a thread, signals, an end before the end. */
class FileJobTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void doTheirWork()
    {
        const TemporaryFolder folder;
        qputenv("XDG_DATA_HOME", folder.root() + "/home");
        createEntries(folder.root(), {"copies/"});
        generateTree(folder.root() + "/t", 1);
        const Description tree = describe(folder.root() + "/t");
        const QStringList copied{folder.at("copies/t")}, moved{folder.at("t")};
        const auto run = [](FileJob& job) {
            QSignalSpy finished(&job, &FileJob::finished);
            FileProgress last;
            connect(&job, &FileJob::progressChanged, &job, [&](auto& told) { last = told; });
            job.start();
            job.start(); // is in vain
            QVERIFY(job.waitForFinished());
            QCOMPARE(finished.size(), 0); // from the event loop, not from a call
            QTRY_COMPARE(finished.size(), 1);
            const FileResult result = finished.at(0).at(0).value<FileResult>();
            QVERIFY2(result.ok(), qPrintable(result.what()));
            QVERIFY(job.isFinished() && job.result().entries == result.entries);
            QCOMPARE(last.entriesDone,
                     last.entriesTotal < 0 ? last.entriesDone : last.entriesTotal);
            QVERIFY(last.entriesDone > 0);
        };
        CopyJob copy(moved, folder.at("copies"));
        run(copy);
        QCOMPARE(difference(describe(folder.root() + "/copies/t"), tree), QByteArray());
        SizeJob size(copied);
        run(size);
        QCOMPARE(size.result().entries, qint64(tree.size()));
        FindJob find(folder.at("t"));
        QVERIFY(find.matches().isEmpty());
        run(find);
        QCOMPARE(qint64(find.matches().size()), find.result().entries);
        QVERIFY(find.matches().contains(folder.at("t/a.txt"))
                || QFileInfo(folder.at("t/a.txt")).isDir());
        RemoveJob remove(moved);
        run(remove);
        MoveJob move(copied, folder.path());
        run(move);
        QCOMPARE(difference(describe(folder.root() + "/t"), tree), QByteArray());
        QVERIFY(entriesOf(folder.root() + "/copies").isEmpty());
        if (!hasPosix)
            return; // it would be the user's
        TrashJob trash(moved);
        run(trash);
        const FileResult::Place place = trash.result().places.at(0);
        QCOMPARE(place.source, moved.at(0));
        QCOMPARE(difference(describe(QFile::encodeName(place.target)), tree), QByteArray());
    }

    /** Cancelled or deleted in the middle, and before it could begin. */
    void endsEarly()
    {
        const TemporaryFolder folder;
        for (int i = 0; i < 20; ++i)
            createEntries(folder.root(), {QByteArray::number(i)});
        for (const bool isDeleted : {false, true}) {
            QThreadPool pool;
            pool.setMaxThreadCount(1);
            QSemaphore found, goOn;
            std::atomic<int> count{0};
            const auto slowly = [&](const QString&) {
                ++count;
                found.release();
                goOn.acquire();
            };
            auto first = std::make_unique<FindJob>(folder.path(), FindOptions(), slowly);
            auto second = std::make_unique<RemoveJob>(QStringList(folder.path()));
            QSignalSpy firstFinished(first.get(), &FileJob::finished);
            QSignalSpy secondFinished(second.get(), &FileJob::finished);
            for (FileJob* const job :
                 {static_cast<FileJob*>(first.get()), static_cast<FileJob*>(second.get())}) {
                job->setThreadPool(&pool);
                job->start();
            }
            found.acquire();
            QVERIFY(!first->waitForFinished(1) && !first->isFinished());
            if (isDeleted) {
                second.reset(); // doesn't wait for the pool
                goOn.release(100);
                first.reset();
                QVERIFY(firstFinished.isEmpty() && secondFinished.isEmpty());
            } else {
                second->cancel();
                QVERIFY(second->isFinished() && second->result().cancelled);
                first->cancel();
                goOn.release();
                QTRY_COMPARE(firstFinished.size() + secondFinished.size(), 2);
                QVERIFY(first->result().cancelled && first->result().entries == 1);
            }
            const int before = count;
            QVERIFY(pool.waitForDone(60000));
            QCOMPARE(int(count), before);
        }
        QCOMPARE(entriesOf(folder.root()).size(), 20);
        RemoveJob never({folder.path()});
        never.cancel();
        QVERIFY(!never.waitForFinished(0));
        never.start();
        QVERIFY(never.waitForFinished() && never.result().cancelled);
        QCOMPARE(entriesOf(folder.root()).size(), 20);
    }

    void tellsOfItsProgressAndOfExceptions()
    {
        const TemporaryFolder folder;
        createEntries(folder.root(), {"a", "b", "c"});
        QSemaphore goOn;
        int count = 0;
        FindJob job(folder.path(), {}, [&](const QString&) {
            if (++count == 3)
                throw std::runtime_error("thrown");
            goOn.tryAcquire(1, 150); // longer than between two reports
        });
        QSignalSpy progress(&job, &FileJob::progressChanged);
        QElapsedTimer time;
        time.start();
        job.start();
        QTRY_VERIFY(job.isFinished() && !progress.isEmpty());
        QCOMPARE(job.result().what(), QStringLiteral("Cannot look at : thrown"));
        QVERIFY(progress.size() <= time.elapsed() / 100 + 1);
        QVERIFY(progress.at(0).at(0).value<FileProgress>().path.startsWith(folder.path()));
    }
};

QTEST_GUILESS_MAIN(FileJobTest)
#include "FileJobTest.moc"
