#include "support/TemporaryFolder.h"

#include <Quarn/interfaces/InterfaceStub.h>
#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>
#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/multiuser/MultiUserSpoolReader.h>
#include <Quarn/streams/MappedFileStream.h>
#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/SubStream.h>
#include <Quarn/streams/kelmQFile.h>

#include <QRegularExpression>
#include <QTest>

struct File : public kel::kelmQFile
{
    using kelmQFile::kelmQFile;
    void setThroughputStats(quint64, quint64, quint64, quint64) override { }
};

/** The interface query, Qt's cast and the hooks that every stream answers alike. */
class InterfaceQueryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void streamsAnswerAlike()
    {
        kel::InterfaceStub stub;
        QVERIFY(std::as_const(stub).getInterface(QByteArray("kel::IInterface").data()) == &stub);
        const auto check = [&stub](auto& stream, const char* metaObjectName) {
            kel::IRandomAccessIO* const io = &stream;
            QVERIFY(io->getInterface(kel::IInterface::ID()) == static_cast<kel::IInterface*>(io));
            quint64 n[] = {1, 2, 3, 4};
            void* pointer = n;
            io->setThroughputStats(9, 9, 9, 9);
            QVERIFY(!io->getOutputInfo(n[0], n[1], &pointer) && pointer == n);
            QVERIFY(!io->getThroughputStats(n[0], n[1], n[2], n[3]));
            QVERIFY(!io->getVerificationFailures() && n[0] + 2 * n[1] + 3 * n[2] + 4 * n[3] == 30);

            QIODevice* const qt = &stream;
            kelmIOCore* const core = dynamic_cast<kelmIOCore*>(qt); // the memory stream has none
            QVERIFY(qt->qt_metacast(metaObjectName) == &stream);
            QVERIFY(qt->qt_metacast("QIODevice") == qt && qt->qt_metacast("kelmIOCore") == core);
            QVERIFY(qt->qt_metacast("IRandomAccessIO") == (core ? io : nullptr));
            for (const char* no :
                 {"IIOInterface", "kel::IRandomAccessIO", "IInterface", "kel::iinterface",
                  "kel::IInterface ", "", static_cast<const char*>(nullptr)})
                QVERIFY(!stub.getInterface(no) && !io->getInterface(no) && !qt->qt_metacast(no));
        };
        kel::MultiUserBuffer buffer;
        kel::MultiUserReader reader(&buffer, false);
        kel::MultiUserSpool spool;
        kel::MultiUserSpoolReader spoolReader(&spool, false);
        kel::QRandomAccessIO memory;
        File file{QString()};
        check(buffer, "kel::MultiUserBuffer");
        check(reader, "kel::MultiUserReader");
        check(spool, "kel::MultiUserSpool");
        check(spoolReader, "kel::MultiUserSpoolReader");
        check(static_cast<kel::kelmQFile&>(file), "kel::kelmQFile");
        check(memory, "QBuffer");
    }

    /** What callers ask of a stream before they use it; each kind gets four bytes if it takes any. */
    void tellsWhatItCan()
    {
        const TemporaryFolder folder;
        folder.write("file", "four");
        kel::MultiUserBuffer buffer;
        kel::MultiUserReader bufferReader(&buffer, false);
        for (int i = 0; i < 2; ++i)
            QTest::ignoreMessage(QtWarningMsg,
                                 QRegularExpression(QStringLiteral("Cannot connect \\(null\\)")));
        kel::MultiUserReader bufferOfNothing(static_cast<kel::MultiUserBuffer*>(nullptr), true);
        kel::MultiUserSpool spool;
        kel::MultiUserSpoolReader spoolReader(&spool, false);
        kel::MultiUserSpoolReader spoolOfNothing(static_cast<kel::MultiUserSpool*>(nullptr), true);
        kel::MappedFileStream mapped(folder.at("file"));
        kel::SubStream range(&mapped, 2),
            rangeOfNothing(static_cast<kel::IRandomAccessIO*>(nullptr), 2);
        struct Row
        {
            const char* name;
            kel::IRandomAccessIO& stream;
            int takes;
            bool reads, fails;
            enum { Always, Never, AsSet } nonBlocking;
            qint64 size;
        };
        const Row rows[]
            = {{"buffer", buffer, 4, false, false, Row::Always, 4},
               {"its reader", bufferReader, 0, true, false, Row::AsSet, 4},
               {"reader of no buffer", bufferOfNothing, 0, false, false, Row::AsSet, 0},
               {"spool", spool, 4, false, false, Row::Always, 4},
               {"its reader", spoolReader, 0, true, false, Row::AsSet, 4},
               {"reader of no spool", spoolOfNothing, 0, true, true, Row::AsSet, 0},
               {"mapping", mapped, 0, true, false, Row::Never, 4},
               {"range", range, 0, true, false, Row::Never, 2},
               {"range of nothing", rangeOfNothing, -1, false, true, Row::Never, 0}};
        for (const Row& row : rows) {
            kel::IRandomAccessIO& stream = row.stream;
            const auto is = [&](bool answer) { return answer ? "" : row.name; };
            QCOMPARE(is(stream.write("four", 4) == row.takes), "");
            QCOMPARE(is(stream.writable() == (row.takes > 0)), "");
            QCOMPARE(is(stream.readable() == row.reads), "");
            for (const bool set : {false, true}) {
                stream.enableNonBlockingMode(set);
                QCOMPARE(is(stream.nonBlocking()
                            == (row.nonBlocking == Row::Always
                                || (set && row.nonBlocking == Row::AsSet))),
                         "");
            }
            stream.flush();
            QCOMPARE(is(stream.streamSize() == row.size), "");
            QCOMPARE(is(stream.ioFailureDetected() == row.fails), "");
            QCOMPARE(is(row.takes > 0 || stream.position() == 0), "");
            stream.finishIO();
        }
        QVERIFY(!spool.open(QIODevice::ReadWrite) && spool.size() == 4 && spool.isSequential());
        QVERIFY(!spoolReader.open(QIODevice::ReadWrite) && spoolReader.open(QIODevice::ReadOnly));
        QVERIFY(spoolReader.size() == 4 && spoolReader.lag() == 4 && spoolReader.reset());
        // Those that write have ended, and tell their readers so.
        for (kel::IRandomAccessIO* const ended : {&rows[0].stream, &rows[3].stream})
            QVERIFY(!ended->writable() && ended->eofEncountered());
    }
};

QTEST_GUILESS_MAIN(InterfaceQueryTest)
#include "InterfaceQueryTest.moc"
