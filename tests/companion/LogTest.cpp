#include "support/TestRegistry.h"

#include <Quarn/companion/Log.h>
#include <Quarn/companion/MutexLocker.h>

#include <QRegularExpression>
#include <QTest>

#include <cwchar>
#include <iomanip>
#include <sstream>
#include <thread>

using kel::Log;

/** Levels, streams and whole lines of the logger. */
class LogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void writesFromTheThresholdOn_data();
    void writesFromTheThresholdOn();
    void keepsLinesWhole();
    void aTextCannotForgeALine();
    void standardErrorStaysNarrow();

private:
    std::wostringstream m_stream;
    std::wostream* m_before = nullptr;
};

void LogTest::init()
{
    m_before = Log::instance().getStream(Log::Warning);
    m_stream.str(std::wstring());
    Log::instance().setStream(Log::Warning, &m_stream);
}

void LogTest::cleanup()
{
    Log::instance().setStream(Log::Warning, m_before);
    Log::instance().setLogLevel(Log::Warning);
}

void LogTest::writesFromTheThresholdOn_data()
{
    QTest::addColumn<int>("threshold");
    QTest::addColumn<bool>("written");
    QTest::newRow("debug") << int(Log::Debug) << true;
    QTest::newRow("warning") << 2 << true;
    QTest::newRow("error") << int(Log::Error) << false;
    QTest::newRow("off") << int(Log::Off) << false;
}

void LogTest::writesFromTheThresholdOn()
{
    QFETCH(int, threshold);
    QFETCH(bool, written);
    QVERIFY(!Log::instance().getStream(Log::Debug));
    QVERIFY(m_before && Log::instance().getStream(Log::Error));
    Log::instance().setLogLevel(Log::ELevel(threshold));
    m_stream << std::hex;
    Log::instance().write(Log::Warning, L"straße");
    QVERIFY(m_stream.flags() & std::ios_base::hex);
    const QString line = QString::fromStdWString(m_stream.str());
    const QRegularExpression format(QStringLiteral(
        "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[warning\\] straße\n$"));
    QVERIFY2(written ? format.match(line).hasMatch() : line.isEmpty(), qPrintable(line));
}

void LogTest::keepsLinesWhole()
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int n = 0; n < 200; ++n) {
                const kel::MutexLocker locker(Log::instance().mutex(), true);
                Log::instance().pre(Log::Warning) << L"begin ";
                Log::instance().pre(Log::Warning) << L"end" << std::endl;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    const QStringList lines = QString::fromStdWString(m_stream.str()).split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 801);
    const QRegularExpression format(QStringLiteral("^\\S+ \\S+ \\[warning\\] begin \\S+ \\S+ "
                                                   "\\[warning\\] end$"));
    QCOMPARE(lines.filter(format).size(), 800);
}

void LogTest::aTextCannotForgeALine()
{
    Log::instance().write(Log::Warning, L"user\r\n2026-01-01 [warning] forged\x85\x2028\x1b[2J");
    const std::wstring text = m_stream.str();
    QCOMPARE(text.find_first_of(L"\n\r\x85\x2028\x1b"), text.size() - 1);
}

void LogTest::standardErrorStaysNarrow()
{
    Log::instance().setStream(Log::Warning, m_before);
    Log::instance().write(Log::Warning, L"this line belongs to the test");
    QVERIFY2(std::fwide(stderr, 0) <= 0, "narrow messages to standard error would be lost now");
}

QUARN_TEST(LogTest)
#include "LogTest.moc"
