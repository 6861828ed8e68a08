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
    void connectsAndReportsFailures()
    {
        std::wostringstream log;
        kel::Log::instance().setStream(kel::Log::Warning, &log);
        const auto check = [&](const char* name, QObject* sender, const char* signal,
                               const char* slot, bool connects) {
            log.str(std::wstring());
            m_noted = 0;
            const bool connected = kel::connect(sender, signal, this, slot);
            Q_EMIT happened(42);
            disconnect(this, nullptr, this, nullptr);
            const auto lines = QString::fromStdWString(log.str()).count(QLatin1Char('\n'));
            QVERIFY2(connected == connects && m_noted == (connects ? 42 : 0), name);
            QVERIFY2(lines == (connects ? 0 : 1), name);
        };
        check("slot", this, "2happened(qint64)", "1note(qint64)", true);
        check("spaces", this, "2happened( qint64 )", "1note( qint64 )", true);
        check("no sender", nullptr, "2happened(qint64)", "1note(qint64)", false);
        check("no such signal", this, "2happens(qint64)", "1note(qint64)", false);
        check("no such slot", this, "2happened(qint64)", "1notes(qint64)", false);
        check("other arguments", this, "2destroyed()", "1note(qint64)", false);
        check("null names", this, nullptr, nullptr, false);
        check("empty names", this, "", "", false);
        check("no code", this, "happened(qint64)", "note(qint64)", false);
        kel::Log::instance().setStream(kel::Log::Warning, nullptr);
    }

private:
    qint64 m_noted = 0;
};

QTEST_GUILESS_MAIN(ConnectTest)
#include "ConnectTest.moc"
