#include <Quarn/interfaces/InterfaceStub.h>
#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>
#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/kelmQFile.h>

#include <QTest>

using namespace kel;

namespace {

class File : public kelmQFile
{
public:
    using kelmQFile::kelmQFile;
    void setThroughputStats(quint64, quint64, quint64, quint64) override { }
};

/** Whether each interface of \a stream finds the same root, and the hooks leave all as it was. */
bool answersAsAStream(IRandomAccessIO& stream)
{
    IIOInterface& sequential = stream;
    ISupportsNonBlockingIOInterface& blocking = stream;
    IInterface* const root = &stream;
    quint64 first = 1, second = 2, third = 3, fourth = 4;
    void* pointer = &first;
    stream.setThroughputStats(9, 9, 9, 9);
    return stream.getInterface(IInterface::ID()) == root
           && sequential.getInterface(IInterface::ID()) == root
           && blocking.getInterface(IInterface::ID()) == root
           && !stream.getInterface("kel::IRandomAccessIO") && stream.getVerificationFailures() == 0
           && !stream.getOutputInfo(first, second, &pointer)
           && !stream.getThroughputStats(first, second, third, fourth) && first == 1 && second == 2
           && third == 3 && fourth == 4 && pointer == &first;
}

template <typename Stream>
bool castsAs(Stream& stream, const char* name)
{
    QObject& object = stream;
    return object.qt_metacast(name) == &stream
           && object.qt_metacast("kelmIOCore") == static_cast<kelmIOCore*>(&stream)
           && object.qt_metacast("IRandomAccessIO") == static_cast<IRandomAccessIO*>(&stream)
           && object.qt_metacast("QIODevice") == static_cast<QIODevice*>(&stream)
           && !object.qt_metacast("IIOInterface") && !object.qt_metacast("kel::IRandomAccessIO")
           && !object.qt_metacast(nullptr);
}

} // namespace

/** The interface query, Qt's cast and the hooks that every stream answers alike. */
class InterfaceQueryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersOnlyTheRootIdentifier()
    {
        InterfaceStub stub;
        const QByteArray copy("kel::IInterface");
        QCOMPARE(stub.getInterface(copy.constData()), static_cast<void*>(&stub));
        QVERIFY(std::as_const(stub).getInterface(copy.constData()));
        for (const char* const other : {"IInterface", "kel::iinterface", "kel::IInterface ",
                                        "kel::IInterf", "", static_cast<const char*>(nullptr)})
            QVERIFY2(!stub.getInterface(other), other);
    }

    void streamsAnswerAlike()
    {
        MultiUserBuffer buffer;
        MultiUserReader reader(&buffer, false);
        QRandomAccessIO memory;
        File file{QString()};
        QVERIFY(answersAsAStream(buffer));
        QVERIFY(answersAsAStream(reader));
        QVERIFY(answersAsAStream(memory));
        QVERIFY(answersAsAStream(file));
        QVERIFY(castsAs(buffer, "kel::MultiUserBuffer"));
        QVERIFY(castsAs(reader, "kel::MultiUserReader"));
        QVERIFY(castsAs(static_cast<kelmQFile&>(file), "kel::kelmQFile"));
    }
};

QTEST_GUILESS_MAIN(InterfaceQueryTest)
#include "InterfaceQueryTest.moc"
