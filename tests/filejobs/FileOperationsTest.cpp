#include "GeneratedTree.h"
#include "support/Entries.h"
#include "support/MountedFolder.h"
#include "support/ResourceLimit.h"
#include "support/posix.h"
#include "support/testBytes.h"

#include <Quarn/filejobs/FileOperations.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QTest>

#include <cerrno>

using namespace kel;

namespace {

const QString memory = QLatin1String(hasPosix ? "/dev/shm" : "Z:/dev/shm"); // as Wine calls it
const QString disk = QDir::tempPath();

constexpr int isThere = hasPosix ? EEXIST : 183;
constexpr int isInvalid = hasPosix ? EINVAL : 87;

Description describeBelow(const QByteArray& root)
{
    Description description = describe(root);
    description.erase("");
    return description;
}

TransferOptions by(ConflictPolicy policy)
{
    TransferOptions options;
    options.conflict = policy;
    return options;
}

} // namespace

/** Copies, moves and so on, as compared with descriptions of whole trees. */
class FileOperationsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void copiesMovesAndRemovesTrees()
    {
        unsigned seed = 0;
        const QByteArray large = testBytes(9 << 20); // sent to a disk in pieces
        for (const QString& from : {memory, disk}) {
            for (const QString& to : {memory, disk}) {
                const TemporaryFolder source(from), target(to);
                generateTree(source.root() + "/t", ++seed);
                source.write("f", large);
                const Description trees = describeBelow(source.root());
                const QStringList given{source.at("t"), source.at("f")};
                FileProgress last;
                const Progress watch = [&](const FileProgress& progress) {
                    last = progress;
                    return true;
                };
                const auto check = [&](const FileResult& result) {
                    QVERIFY2(result.ok(), qPrintable(result.what()));
                    QCOMPARE(difference(describeBelow(target.root()), trees), QByteArray());
                    QCOMPARE(result.places.size(), 2);
                    QCOMPARE(result.places.at(0).target, target.at("t"));
                };
                check(FileOperations::copy(given, target.path(), {}, watch));
                QCOMPARE(difference(describeBelow(source.root()), trees), QByteArray());
                QCOMPARE(last.entriesDone, qint64(trees.size()));
                QCOMPARE(last.entriesTotal, last.entriesDone);
                QCOMPARE(last.bytesTotal, last.bytesDone);

                const FileResult gone = FileOperations::remove(
                    {target.at("t"), target.at("f"), target.at("nothing")}, watch);
                QCOMPARE(gone.entries, qint64(trees.size()));
                QVERIFY(gone.failures.size() == 1 && gone.failures.first().code == ENOENT);
                QVERIFY(entriesOf(target.root()).isEmpty());

                check(FileOperations::move(given, target.path(), {}, watch));
                QVERIFY(entriesOf(source.root()).isEmpty());
            }
        }
    }

    /** After every possible cancel, all is whole that has its name, and nothing is lost. */
    void isCancelledAnywhere()
    {
        for (const bool moving : {false, true}) {
            bool cancelled = true;
            for (int calls = 1; cancelled; calls = hasPosix ? calls * 4 / 3 + 1 : calls * 2) {
                const TemporaryFolder source(memory), plain(memory);
                const MountedFolder mounted;
                const TemporaryFolder& target = moving ? mounted : plain;
                generateTree(source.root() + "/t", 2);
                const Description tree = describe(source.root() + "/t");
                int left = calls;
                const Progress progress = [&](const FileProgress&) { return --left > 0; };
                const FileResult result
                    = moving ? FileOperations::move({source.at("t")}, target.path(), {}, progress)
                             : FileOperations::copy({source.at("t")}, target.path(), {}, progress);
                cancelled = result.cancelled;
                QVERIFY(result.failures.isEmpty() && result.ok() != cancelled);
                Description found;
                if (QFileInfo::exists(source.at("t")))
                    found = describe(source.root() + "/t");
                if (!moving)
                    QVERIFY(difference(found, tree).isEmpty());
                if (!QFileInfo::exists(target.at("t")))
                    continue;
                const auto withoutName
                    = [](const QByteArray& text) { // the links it shares bytes with
                          return text.left(text.lastIndexOf(" as "));
                      };
                for (const auto& [path, text] : describe(target.root() + "/t")) {
                    QVERIFY2(tree.count(path), path);
                    if (!text.startsWith("4"))
                        QCOMPARE(withoutName(text), withoutName(tree.at(path)));
                    found[path] = text;
                }
                QVERIFY(!moving || found.size() == tree.size());
            }
        }
    }

    void settlesConflicts()
    {
        using P = ConflictPolicy;
        struct Row
        {
            P policy;
            Entries before; // in the target, which gets "f", "l>x" and "d" with "g" and "h"
            int failures;
            Entries after;
            const char* f;
        };
        const Row rows[] = {
            {P::Fail, {"f"}, 1, {"d/g", "d/h", "f", "l"}, "old"},
            {P::Fail, {"d/h"}, 1, {"d/h", "f", "l"}, "new"},
            {P::Fail, {"l"}, 1, {"d/g", "d/h", "f", "l"}, "new"},
            {P::Skip, {"f", "l>y", "d/h"}, 0, {"d/g", "d/h", "f", "l"}, "old"},
            {P::Overwrite, {"f", "l>f", "d/h", "d/i"}, 0, {"d/g", "d/h", "d/i", "f", "l"}, "new"},
            {P::Overwrite, {"f/", "d"}, 2, {"d", "f/", "l"}, ""},
            {P::Overwrite, {"f", "x/", "d>x"}, 1, {"d", "f", "l", "x/"}, "new"},
            {P::UniqueName,
             {"f", "d/h", "d (2)", "l"},
             0,
             {"d (2)", "d (3)/g", "d (3)/h", "d/h", "f", "f (2)", "l", "l (2)"},
             "old"},
            {P::Cancel, {"f"}, 0, {"f"}, "old"}};
        const char* const link = hasPosix ? "l>x" : "l"; // where none can be made a file does
        for (const bool moving : {false, true}) {
            for (const Row& row : rows) {
                if (!canCreate(row.before))
                    continue;
                for (const bool asks : {false, true}) {
                    const TemporaryFolder source, target;
                    createEntries(source.root(), {"d/g", "d/h", "f", link});
                    createEntries(target.root(), row.before);
                    source.write("f", "new");
                    if (row.before.contains("f"))
                        target.write("f", "old");
                    TransferOptions options = by(asks ? P::Fail : row.policy);
                    if (asks)
                        options.ask = [&](const FileConflict& conflict) {
                            return QFileInfo(conflict.target).exists()
                                           || QFileInfo(conflict.target).isSymLink()
                                       ? row.policy
                                       : P::Fail;
                        };
                    const QStringList given{source.at("f"), source.at("l"), source.at("d")};
                    const FileResult result
                        = moving ? FileOperations::move(given, target.path(), options)
                                 : FileOperations::copy(given, target.path(), options);
                    QVERIFY2(result.failures.size() == row.failures, qPrintable(result.what()));
                    QCOMPARE(result.cancelled, row.policy == P::Cancel);
                    QCOMPARE(entriesOf(target.root()), row.after);
                    QCOMPARE(contentsOf(target.at("f")), row.f);
                    const bool movedAll = moving && row.failures == 0 && row.policy != P::Skip
                                          && row.policy != P::Cancel;
                    QCOMPARE(entriesOf(source.root()).isEmpty(), movedAll);
                }
            }
        }
    }

    void refusesWhatWouldHarm()
    {
        const TemporaryFolder folder;
        createEntries(folder.root(), creatable({"t/a/b/", "t/f", "s>t"}));
        const Entries before = entriesOf(folder.root());
        const auto fails = [](const FileResult& result, int code) {
            return result.failures.size() == 1 && result.failures.first().code == code;
        };
        const QStringList tree{folder.at("t")}, file{folder.at("t/f")};
        for (const char* into : {"t", "t/a/b", hasPosix ? "s/a" : "T/A"}) {
            QVERIFY(fails(FileOperations::copy(tree, folder.at(into)), isInvalid));
            QVERIFY(fails(FileOperations::move(tree, folder.at(into)), isInvalid));
        }
        for (const auto policy : {ConflictPolicy::Fail, ConflictPolicy::Overwrite}) {
            QVERIFY(fails(FileOperations::copy(file, folder.at("t"), by(policy)), isThere));
            QVERIFY(fails(FileOperations::move(file, folder.at("t"), by(policy)), isThere));
            QVERIFY(fails(FileOperations::move(tree, folder.path(), by(policy)), isThere));
        }
        for (const char* path : {"/", "", "/nothing"}) {
            const QStringList given{QLatin1String(path)};
            QVERIFY(!FileOperations::remove(given).ok());
            QVERIFY(!hasPosix || !FileOperations::trash(given).ok()); // elsewhere it is the user's
            QVERIFY(!FileOperations::move(given, folder.path()).ok());
        }
        const QStringList cut{folder.at("t/f")
                              + QChar(QChar::Null)}; // the system reads up to there
        QVERIFY(fails(FileOperations::remove(cut), ENOENT));
        QVERIFY(!FileOperations::copy(file, QString()).ok());
        QCOMPARE(entriesOf(folder.root()), before);
    }

    void givesANewName()
    {
        const TemporaryFolder folder;
        createEntries(folder.root(), {"f", "to/"});
        const QString target = folder.at("to");
        TransferOptions options = by(ConflictPolicy::Overwrite);
        options.newName = QStringLiteral("g");
        QVERIFY(FileOperations::copy({folder.at("f")}, folder.path(), options).ok());
        options.newName = QStringLiteral("h");
        QVERIFY(FileOperations::move({folder.at("f")}, folder.path(), options).ok());
        for (const char* name : {"../h", "sub/x", ".", "..", "/h", ""}) {
            options.newName = *name ? QLatin1String(name) : QString(QChar(0));
            QVERIFY2(!FileOperations::move({folder.at("g")}, target, options).ok(), name);
            QCOMPARE(entriesOf(folder.root()), (Entries{"g", "h", "to/"}));
        }
        options.newName = QStringLiteral("one"); // several would replace each other
        QVERIFY(FileOperations::move({folder.at("g"), folder.at("h")}, target, options).ok());
        QCOMPARE(entriesOf(folder.root()), (Entries{"to/g", "to/h"}));

        createEntries(folder.root(), {"a.b", ".c", "to/a.b", "to/.c"});
        QVERIFY(FileOperations::move({folder.at("a.b"), folder.at(".c")}, target,
                                     by(ConflictPolicy::UniqueName))
                    .ok());
        QCOMPARE(entriesOf(target.toUtf8()), (Entries{".c", ".c (2)", "a (2).b", "a.b", "g", "h"}));
    }

#if QUARN_HAS_POSIX
    void leavesWhatChangesWhileItIsMoved()
    {
        const MountedFolder target;
        if (!target.isMounted())
            QSKIP("There is only one file system", );
        for (const bool grows : {false, true}) {
            const TemporaryFolder source;
            const QByteArray path = source.root() + "/f";
            source.write("f", testBytes(9 << 20));
            const Progress change = [&](const FileProgress& progress) {
                const timespec times[] = {{1, 0}, {1, 0}};
                if (progress.bytesDone > 0)
                    grows ? ::truncate(path, 10 << 20) : ::utimensat(AT_FDCWD, path, times, 0);
                return true;
            };
            const auto result = FileOperations::move({source.at("f")}, target.path(), {}, change);
            QVERIFY(!result.ok() && QFile::exists(source.at("f")));
            QCOMPARE(entriesOf(target.root()), Entries());
        }
    }

    /** Names of one file: one that is its own copy's already, and one behind a file with a comment. */
    void sharesCopiesBetweenLinks()
    {
        const TemporaryFolder folder;
        const MountedFolder other("ramfs"); // without attributes
        createEntries(folder.root(), {"a", "f", "to/"});
        QVERIFY(::link(folder.root() + "/a", folder.root() + "/b") == 0);
        const QStringList twice{folder.at("a"), folder.at("a"), folder.at("b")};
        const TransferOptions options = by(ConflictPolicy::Overwrite);
        QVERIFY(FileOperations::copy(twice, folder.at("to"), options).ok());
        QCOMPARE(entriesOf(folder.root() + "/to"), (Entries{"a", "b"}));
        FileUtils::comment(folder.at("f"), QStringLiteral("of f"));
        const QStringList between{folder.at("a"), folder.at("f"), folder.at("b")};
        for (const QString& comment : {QString(), QStringLiteral("of a and b")}) {
            FileUtils::comment(folder.at("a"), comment);
            QVERIFY(FileOperations::copy(between, other.path(), options).ok());
            QCOMPARE(FileUtils::comment(other.at("f")), QStringLiteral("of f"));
            QCOMPARE(FileUtils::comment(other.at("b")), comment);
        }
    }

    void letsNobodyElseIn()
    {
        const TemporaryFolder folder;
        createEntries(folder.root(), {"t/f", "to/"});
        // Of a folder that gives all in it to user 99, too.
        const auto list = QByteArray::fromHex("0200000001000700ffffffff020007006300000004000500"
                                              "ffffffff10000700ffffffff20000000ffffffff");
        const char* const names[] = {"system.posix_acl_default", "system.posix_acl_access"};
        if (::setxattr(folder.root() + "/to", names[0], list, size_t(list.size()), 0) != 0)
            QSKIP("There are no access lists", );
        QVERIFY(FileOperations::copy({folder.at("t")}, folder.at("to")).ok());
        for (const char* const name : names)
            for (const char* const path : {"/to/t", "/to/t/f"})
                QVERIFY2(::getxattr(folder.root() + path, name, nullptr, 0) < 0, path);
    }

    void keepsAFolderWhoseAttributesDoNotFit()
    {
        const TemporaryFolder folder(memory), target(disk);
        createEntries(folder.root(), {"t/f"});
        const QByteArray value(60000, 'v');
        const auto fits = [&](const QByteArray& path) {
            return ::setxattr(path, "user.a", value, size_t(value.size()), 0) == 0;
        };
        if (!fits(folder.root() + "/t") || fits(target.root()))
            QSKIP("There is only one kind of file system", );
        QVERIFY(!FileOperations::move({folder.at("t")}, target.path()).ok());
        QCOMPARE(entriesOf(folder.root()), Entries{"t/"});
        QCOMPARE(entriesOf(target.root()), Entries{"t/f"});
    }

    /** Somebody puts a link in the place of a folder that is still to be gone to. */
    void isNotLedOutside()
    {
        for (const char* operation : {"copy", "move", "remove", "measure"}) {
            const TemporaryFolder folder(memory);
            const MountedFolder target;
            createEntries(folder.root(), {"t/b/f", "t/c/f", "t/d/f", "x/a/f", "x/f"});
            const QByteArray name = operation;
            int calls = 0;
            int swapped = 0;
            const Progress swap = [&](const FileProgress& progress) {
                if (++calls == (name == "measure" ? 2 : 10)) { // the work itself has begun
                    for (const QByteArray sub : {"b", "c", "d"}) {
                        const QByteArray path = folder.root() + "/t/" + sub;
                        if (!QFile::encodeName(progress.path).startsWith(path)
                            && ::rename(path, folder.root() + "/x/" + sub) == 0)
                            swapped += ::symlink("../x", path) == 0;
                    }
                }
                return true;
            };
            const QStringList tree{folder.at("t")};
            const FileResult result
                = name == "copy"     ? FileOperations::copy(tree, target.path(), {}, swap)
                  : name == "move"   ? FileOperations::move(tree, target.path(), {}, swap)
                  : name == "remove" ? FileOperations::remove(tree, swap)
                                     : FileOperations::measure(tree, swap);
            QVERIFY(swapped > 0);
            QVERIFY2(QFile::exists(folder.at("x/f")), operation);
            for (const QByteArray& entry : entriesOf(target.root()))
                QVERIFY2(!entry.contains("a/a") && entry.count("/f") <= 1, entry.constData());
            QVERIFY(result.entries < 8);
        }
    }

    void keepsCommentsWhereThereAreNoAttributes()
    {
        const TemporaryFolder folder(memory);
        const MountedFolder other("ramfs");
        if (!other.isMounted())
            QSKIP("Needs the right to mount", );
        const QString comment = QStringLiteral("a comment");
        createEntries(folder.root(), {"f", "t/g", "t/s/"});
        for (const char* name : {"f", "t", "t/g", "t/s"})
            FileUtils::comment(folder.at(name), comment);
        ::setxattr(folder.root() + "/f", "trusted.a", "b", 1, 0); // which nothing stands in for
        QVERIFY(FileOperations::copy({folder.at("f"), folder.at("t")}, other.path()).ok());
        for (const char* name : {"f", "t", "t/g", "t/s"})
            QCOMPARE(FileUtils::comment(other.at(name)), comment);
        TransferOptions options = by(ConflictPolicy::Overwrite);
        options.newName = QStringLiteral("h");
        QVERIFY(FileOperations::copy({other.at("f")}, folder.path(), options).ok());
        QCOMPARE(FileUtils::comment(folder.at("h")), comment);
        options.newName = QStringLiteral("f");
        FileUtils::comment(folder.at("f"), QString());
        QVERIFY(FileOperations::copy({folder.at("f")}, other.path(), options).ok());
        QCOMPARE(FileUtils::comment(other.at("f")), QString()); // no old one is left

        createEntries(folder.root(), {"u/"}); // copied behind g, and not to be listed
        for (const auto& [path, mode] :
             {std::pair(folder.root(), 0755), {other.root(), 0777}, {folder.root() + "/u", 0111}})
            QVERIFY(::chmod(path, mode_t(mode)) == 0);
        QVERIFY(::seteuid(99) == 0);
        const FileResult refused
            = FileOperations::copy({folder.at("t/g"), folder.at("u")}, other.path());
        QVERIFY(::seteuid(0) == 0 && !refused.ok());
        QCOMPARE(FileUtils::comment(other.at("g")), comment);
        QCOMPARE(FileUtils::comment(other.at("u")), QString());

        // A moved one takes it along, whether or not the file with it is moved itself, in any order.
        for (const TemporaryFolder* const target :
             {static_cast<const TemporaryFolder*>(&other), &folder}) {
            for (const char* const names : {"m", "m m:comment", "m:comment m", "m/"}) {
                createEntries(other.root(), {names[1] == '/' ? "m/" : "m"});
                createEntries(target->root(), {"to/"});
                FileUtils::comment(other.at("m"), comment);
                QStringList given;
                for (const QByteArray& name : QByteArray(names).split(' '))
                    given << other.at(name);
                const FileResult result = FileOperations::move(given, target->at("to"));
                QVERIFY2(result.ok(), qPrintable(result.what()));
                if (target == &other || given.size() == 1)
                    QCOMPARE(FileUtils::comment(target->at("to/m")), comment);
                else
                    QCOMPARE(contentsOf(target->at("to/m:comment")), comment.toUtf8());
                QVERIFY(!QFile::exists(other.at("m")) && !QFile::exists(other.at("m:comment")));
                QVERIFY(FileOperations::remove({target->at("to")}).ok());
            }
        }
    }

    void endsOnAFullDisk()
    {
        const TemporaryFolder folder(memory);
        const MountedFolder small("tmpfs", "size=1m");
        if (!small.isMounted())
            QSKIP("Needs the right to mount", );
        const auto isFull = [](const FileResult& result) {
            return result.failures.size() == 1 && result.failures.first().code == ENOSPC;
        };
        createEntries(folder.root(), {"t/a", "t/b"});
        folder.write("t/a", QByteArray(3 << 19, 'a'));
        folder.write("b", QByteArray(1 << 18, 'b'));
        const QStringList given{folder.at("t"), folder.at("b")};
        QVERIFY(isFull(FileOperations::copy(given, small.path()))); // found out before
        QVERIFY(QDir(small.path()).isEmpty());
        folder.write("t/a", QByteArray(1 << 18, 'a'));
        // It fills up meanwhile.
        const Progress fill = [&](const FileProgress& progress) {
            if (progress.bytesDone == 0) {
                QFile filler(small.at("filler"));
                filler.open(QIODevice::WriteOnly);
                filler.write(QByteArray(900 << 10, 'f'));
            }
            return true;
        };
        const TransferOptions options = by(ConflictPolicy::Overwrite);
        for (const bool moving : {false, true}) {
            createEntries(small.root(), {"t/"}); // so that it doesn't look before
            QVERIFY(isFull(moving ? FileOperations::move(given, small.path(), options, fill)
                                  : FileOperations::copy(given, small.path(), options, fill)));
            for (const QByteArray& entry : entriesOf(small.root()))
                QVERIFY2(entry == "filler" || entry == "t/" || entry == "t/b", entry);
            QCOMPARE(folder.contents("t/a").size(), 1 << 18);
        }
    }

    void reachesTheBottomWithFewDescriptors()
    {
        const TemporaryFolder folder(memory);
        const MountedFolder target;
        const QByteArray top = folder.root() + "/t", above = folder.root() + "/above";
        createEntries(top, {"f"});
        constexpr int depth = 5000;
        for (int level = 0; level < depth; ++level) { // from the inside out: the path gets too long
            createEntries(above, {""});
            QVERIFY(::rename(top, above + "/t") == 0 && ::rename(above, top) == 0);
        }
        const ResourceLimit low(ResourceLimit::OpenFiles, 40);
        QCOMPARE(FileOperations::measure({folder.at("t")}).entries, depth + 2);
        const auto ok = [](const FileResult& result) {
            return result.ok() ? QString() : result.what().right(200);
        };
        QCOMPARE(ok(FileOperations::copy({folder.at("t")}, target.path())), QString());
        QCOMPARE(ok(FileOperations::remove({target.at("t")})), QString());
        QCOMPARE(ok(FileOperations::move({folder.at("t")}, target.path())), QString());
        QVERIFY(QDir(folder.path()).isEmpty());
        QCOMPARE(FileOperations::remove({target.at("t")}).entries, depth + 2);
    }
#endif
};

QTEST_GUILESS_MAIN(FileOperationsTest)
#include "FileOperationsTest.moc"
