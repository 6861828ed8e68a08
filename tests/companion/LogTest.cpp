#include <Quarn/companion/Log.h>

#include <QRegularExpression>
#include <QTest>

#include <sstream>
#include <stdexcept>
#include <thread>

using kel::Log;

/** Levels, streams and whole lines of the logger. */
class LogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_before = Log::instance().getStream(Log::Warning);
        m_stream.str(std::wstring());
        Log::instance().setStream(Log::Warning, &m_stream);
    }

    void cleanup()
    {
        Log::instance().setStream(Log::Warning, m_before);
        Log::instance().setLogLevel(Log::Warning);
    }

    void writesFromTheThresholdOn()
    {
        QVERIFY(!Log::instance().getStream(Log::Debug));
        QVERIFY(m_before && Log::instance().getStream(Log::Error));
        Log::instance().setLogLevel(Log::Error);
        Log::instance().write(Log::Warning, L"below");
        Log::instance().setLogLevel(Log::ELevel(2));
        m_stream << std::hex;
        Log::instance().write(Log::Warning, L"straße");
        QVERIFY(m_stream.flags() & std::ios_base::hex);
        const QString text = QString::fromStdWString(m_stream.str());
        const QRegularExpression format(QStringLiteral(
            "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[warning\\] straße\n$"));
        QVERIFY2(format.match(text).hasMatch(), qPrintable(text));
    }

    void aTextCannotForgeALine()
    {
        Log::instance().write(Log::Warning, L"user\r\n2026-01-01 forged\x85\x2028\x1b[2J");
        const std::wstring text = m_stream.str();
        QCOMPARE(text.find_first_of(L"\n\r\x85\x2028\x1b"), text.size() - 1);
    }

    void aStreamThatThrowsIsNoConcernOfTheWriter()
    {
        struct FullDisk : std::wstreambuf
        {
            int_type overflow(int_type) override { throw std::runtime_error("disk full"); }
        } disk;
        std::wostream stream(&disk);
        stream.exceptions(std::ios_base::badbit);
        Log::instance().setStream(Log::Warning, &stream);
        stream << std::hex;
        Log::instance().write(Log::Warning, L"lost");
        Log::instance().pre(Log::Warning);
        QVERIFY(stream.bad() && (stream.flags() & std::ios_base::hex));
    }

    void passesItsLinesToQt()
    {
        Log::instance().setStream(Log::Warning, m_before);
        static QStringList lines;
        const auto before = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext& context, const QString& text) {
                lines << QLatin1String(context.category) + QString::number(int(type)) + text;
                std::thread([] { // nobody else is kept from logging meanwhile
                    Log::instance().setStream(Log::Debug, nullptr);
                })
                    .join();
            });
        Log::instance().write(Log::Warning, L"straße %s\n");
        Log::instance().pre(Log::Error) << L"by hand" << std::endl;
        qInstallMessageHandler(before);
        const QStringList expected{QStringLiteral("quarn1straße %s "),
                                   QStringLiteral("quarn2by hand")};
        QCOMPARE(lines, expected);
    }

private:
    std::wostringstream m_stream;
    std::wostream* m_before = nullptr;
};

QTEST_GUILESS_MAIN(LogTest)
#include "LogTest.moc"
