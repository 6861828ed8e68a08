#include "support/TestRegistry.h"

#include <Quarn/companion/Log.h>
#include <Quarn/companion/connect.h>

#include <QTest>

#include <sstream>

/** A failed connection is one line in the log and nothing on Qt's own channel. */
class ConnectTest : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void happened(qint64 count);

public Q_SLOTS:
    void note(qint64 count) { m_noted = count; }

private Q_SLOTS:
    void connectsAndReportsFailures_data();
    void connectsAndReportsFailures();

private:
    qint64 m_noted = 0;
};

void ConnectTest::connectsAndReportsFailures_data()
{
    QTest::addColumn<QObject*>("sender");
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QByteArray>("slot");
    QTest::addColumn<bool>("connects");
    QObject* const self = this;
    QTest::newRow("slot") << self << QByteArray("2happened(qint64)") << QByteArray("1note(qint64)")
                          << true;
    QTest::newRow("spaces") << self << QByteArray("2happened( qint64 )")
                            << QByteArray("1note( qint64 )") << true;
    QTest::newRow("no sender") << static_cast<QObject*>(nullptr) << QByteArray("2happened(qint64)")
                               << QByteArray("1note(qint64)") << false;
    QTest::newRow("no such signal")
        << self << QByteArray("2happens(qint64)") << QByteArray("1note(qint64)") << false;
    QTest::newRow("no such slot") << self << QByteArray("2happened(qint64)")
                                  << QByteArray("1notes(qint64)") << false;
    QTest::newRow("other arguments")
        << self << QByteArray("2happened(qint64)") << QByteArray("1deleteLater(qint64)") << false;
    QTest::newRow("slot as signal")
        << self << QByteArray("1note(qint64)") << QByteArray("1note(qint64)") << false;
    QTest::newRow("null names") << self << QByteArray() << QByteArray() << false;
}

void ConnectTest::connectsAndReportsFailures()
{
    QFETCH(QObject*, sender);
    QFETCH(QByteArray, signal);
    QFETCH(QByteArray, slot);
    QFETCH(bool, connects);
    std::wostringstream log;
    std::wostream* const before = kel::Log::instance().getStream(kel::Log::Warning);
    kel::Log::instance().setStream(kel::Log::Warning, &log);
    const bool connected = kel::connect(sender, signal.isNull() ? nullptr : signal.constData(),
                                        this, slot.isNull() ? nullptr : slot.constData());
    kel::Log::instance().setStream(kel::Log::Warning, before);

    QCOMPARE(connected, connects);
    const std::wstring text = log.str();
    QCOMPARE(std::count(text.begin(), text.end(), L'\n'), connects ? 0 : 1);
    m_noted = 0;
    Q_EMIT happened(42);
    QCOMPARE(m_noted, qint64(connects ? 42 : 0));
    disconnect(this, nullptr, this, nullptr);
}

QUARN_TEST(ConnectTest)
#include "ConnectTest.moc"
