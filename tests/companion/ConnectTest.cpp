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
        std::wostream* const before = kel::Log::instance().getStream(kel::Log::Warning);
        kel::Log::instance().setStream(kel::Log::Warning, &log);
        const auto check = [&](const char* name, QObject* sender, const char* signal,
                               const char* slot, bool connects) {
            log.str(std::wstring());
            QVERIFY2(kel::connect(sender, signal, this, slot) == connects, name);
            const std::wstring text = log.str();
            QCOMPARE(std::count(text.begin(), text.end(), L'\n'), connects ? 0 : 1);
            m_noted = 0;
            Q_EMIT happened(42);
            QVERIFY2(m_noted == (connects ? 42 : 0), name);
            disconnect(this, nullptr, this, nullptr);
        };
        check("slot", this, "2happened(qint64)", "1note(qint64)", true);
        check("spaces", this, "2happened( qint64 )", "1note( qint64 )", true);
        check("no sender", nullptr, "2happened(qint64)", "1note(qint64)", false);
        check("no such signal", this, "2happens(qint64)", "1note(qint64)", false);
        check("no such slot", this, "2happened(qint64)", "1notes(qint64)", false);
        check("other arguments", this, "2destroyed()", "1note(qint64)", false);
        check("null names", this, nullptr, nullptr, false);
        kel::Log::instance().setStream(kel::Log::Warning, before);
    }

private:
    qint64 m_noted = 0;
};

QTEST_GUILESS_MAIN(ConnectTest)
#include "ConnectTest.moc"
