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
    void connectsAndReportsFailures_data()
    {
        QTest::addColumn<QObject*>("sender");
        QTest::addColumn<QByteArray>("signal");
        QTest::addColumn<QByteArray>("slot");
        QTest::addColumn<bool>("connects");
        QObject* const none = nullptr;
        const auto row = [](const char* name, QObject* sender, const char* signal, const char* slot,
                            bool connects) {
            QTest::newRow(name) << sender << QByteArray(signal) << QByteArray(slot) << connects;
        };
        row("slot", this, "2happened(qint64)", "1note(qint64)", true);
        row("spaces", this, "2happened( qint64 )", "1note( qint64 )", true);
        row("no sender", none, "2happened(qint64)", "1note(qint64)", false);
        row("no such signal", this, "2happens(qint64)", "1note(qint64)", false);
        row("no such slot", this, "2happened(qint64)", "1notes(qint64)", false);
        row("other arguments", this, "2destroyed()", "1note(qint64)", false);
        row("null names", this, nullptr, nullptr, false);
    }

    void connectsAndReportsFailures()
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

private:
    qint64 m_noted = 0;
};

QTEST_GUILESS_MAIN(ConnectTest)
#include "ConnectTest.moc"
