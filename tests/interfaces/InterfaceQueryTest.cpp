#include "support/TestRegistry.h"

#include <Quarn/interfaces/InterfaceStub.h>
#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>
#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/kelmQFile.h>

#include <QTest>

#include <type_traits>

using namespace kel;

namespace {

class File : public kelmQFile
{
public:
    using kelmQFile::kelmQFile;
    void setThroughputStats(quint64, quint64, quint64, quint64) override { }
};

class Extended : public InterfaceStub
{
public:
    using InterfaceStub::getInterface;
    void* getInterface(const char* id) override
    {
        return qstrcmp(id, "extra") == 0 ? &m_extra : InterfaceStub::getInterface(id);
    }

private:
    int m_extra = 0;
};

static_assert(std::is_abstract_v<kelmQFile>);
static_assert((IIOInterface::ReadableMode | IIOInterface::WritableMode
               | IIOInterface::SynchronousMode)
              == 7);

} // namespace

/** The interface query, Qt's cast and the hooks that every stream answers alike. */
class InterfaceQueryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersOnlyTheRootIdentifier_data();
    void answersOnlyTheRootIdentifier();
    void constQueryReachesOverrides();
    void streamsAnswerAlike_data();
    void streamsAnswerAlike();
    void castsByName_data();
    void castsByName();

private:
    MultiUserBuffer m_buffer{QByteArray("abc")};
    MultiUserReader m_reader{&m_buffer, false};
    QRandomAccessIO m_memory;
    File m_file{QStringLiteral("unopened")};
};

void InterfaceQueryTest::answersOnlyTheRootIdentifier_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<bool>("known");
    QTest::newRow("a copy of the identifier") << QByteArray("kel::IInterface") << true;
    QTest::newRow("without namespace") << QByteArray("IInterface") << false;
    QTest::newRow("other case") << QByteArray("kel::iinterface") << false;
    QTest::newRow("trailing blank") << QByteArray("kel::IInterface ") << false;
    QTest::newRow("prefix") << QByteArray("kel::IInterf") << false;
    QTest::newRow("stream interface") << QByteArray("kel::IRandomAccessIO") << false;
    QTest::newRow("empty") << QByteArray("") << false;
}

void InterfaceQueryTest::answersOnlyTheRootIdentifier()
{
    QFETCH(QByteArray, id);
    QFETCH(bool, known);
    InterfaceStub stub;
    IInterface* const expected = known ? &stub : nullptr;
    QCOMPARE(stub.getInterface(id.constData()), static_cast<void*>(expected));
    QCOMPARE(std::as_const(stub).getInterface(id.constData()), static_cast<void*>(expected));
    QVERIFY(!stub.getInterface(nullptr));
}

void InterfaceQueryTest::constQueryReachesOverrides()
{
    const Extended extended;
    QVERIFY(extended.getInterface("extra"));
    QVERIFY(extended.getInterface(IInterface::ID()));
}

void InterfaceQueryTest::streamsAnswerAlike_data()
{
    QTest::addColumn<void*>("stream");
    const auto add = [](const char* name, IRandomAccessIO& stream) {
        QTest::newRow(name) << static_cast<void*>(&stream);
    };
    add("memory", m_memory);
    add("file", m_file);
    add("buffer", m_buffer);
    add("reader", m_reader);
}

void InterfaceQueryTest::streamsAnswerAlike()
{
    QFETCH(void*, stream);
    auto* const random = static_cast<IRandomAccessIO*>(stream);
    IIOInterface* const sequential = random;
    ISupportsNonBlockingIOInterface* const blocking = random;
    IInterface* const root = random;
    QCOMPARE(random->getInterface(IInterface::ID()), static_cast<void*>(root));
    QCOMPARE(sequential->getInterface(IInterface::ID()), static_cast<void*>(root));
    QCOMPARE(blocking->getInterface(IInterface::ID()), static_cast<void*>(root));
    QVERIFY(!random->getInterface("kel::IIOInterface"));

    quint64 first = 1, second = 2, third = 3, fourth = 4;
    void* pointer = &first;
    QCOMPARE(random->getVerificationFailures(), 0u);
    QVERIFY(!random->getOutputInfo(first, second, &pointer));
    QVERIFY(!random->getThroughputStats(first, second, third, fourth));
    random->setThroughputStats(9, 9, 9, 9);
    QVERIFY(first == 1 && second == 2 && third == 3 && fourth == 4 && pointer == &first);
}

void InterfaceQueryTest::castsByName_data()
{
    QTest::addColumn<QObject*>("object");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<void*>("expected");
    const auto add = [](auto& stream, const char* name) {
        QObject* const object = &stream;
        const auto row = [&](const char* asked, void* expected) {
            QTest::addRow("%s as %s", name, asked ? asked : "(null)")
                << object << QByteArray(asked) << expected;
        };
        row(name, &stream);
        row("kelmIOCore", static_cast<kelmIOCore*>(&stream));
        row("IRandomAccessIO", static_cast<IRandomAccessIO*>(&stream));
        row("QIODevice", static_cast<QIODevice*>(&stream));
        row("IIOInterface", nullptr);
        row("kel::IRandomAccessIO", nullptr);
        row(nullptr, nullptr);
    };
    add(static_cast<kelmQFile&>(m_file), "kel::kelmQFile");
    add(m_buffer, "kel::MultiUserBuffer");
    add(m_reader, "kel::MultiUserReader");
}

void InterfaceQueryTest::castsByName()
{
    QFETCH(QObject*, object);
    QFETCH(QByteArray, name);
    QFETCH(void*, expected);
    QCOMPARE(object->qt_metacast(name.isNull() ? nullptr : name.constData()), expected);
}

QUARN_TEST(InterfaceQueryTest)
#include "InterfaceQueryTest.moc"
