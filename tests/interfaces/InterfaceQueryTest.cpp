#include <Quarn/interfaces/InterfaceStub.h>
#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>
#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/kelmQFile.h>

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
        kel::QRandomAccessIO memory;
        File file{QString()};
        check(buffer, "kel::MultiUserBuffer");
        check(reader, "kel::MultiUserReader");
        check(static_cast<kel::kelmQFile&>(file), "kel::kelmQFile");
        check(memory, "QBuffer");
    }
};

QTEST_GUILESS_MAIN(InterfaceQueryTest)
#include "InterfaceQueryTest.moc"
