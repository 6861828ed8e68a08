#include "support/Thread.h"

#include <Quarn/companion/Log.h>
#include <Quarn/companion/MutexLocker.h>

#include <QRegularExpression>
#include <QTest>

#include <sstream>
#include <stdexcept>

using kel::Log;

/** Levels, streams and whole lines of the logger. */
class LogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void passesItsLinesToQt()
    {
        static QStringList lines;
        const auto before = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext& context, const QString& text) {
                lines << QLatin1String(context.category) + QString::number(int(type)) + text;
                // Nobody else is kept from logging meanwhile.
                Thread([] { Log::instance().setStream(Log::Debug, nullptr); }).start();
            });
        Log::instance().write(Log::Warning, L"straße %s\n");
        Log::instance().pre(Log::Error) << L"by hand" << std::flush << std::flush << std::endl;
        qInstallMessageHandler(before);
        QCOMPARE(lines.join(QLatin1Char('/')), QStringLiteral("quarn1straße %s /quarn2by hand"));
    }

    void writesFromTheThresholdOn()
    {
        std::wostringstream stream;
        Log::instance().setStream(Log::Warning, &stream);
        Log::instance().setLogLevel(Log::Error);
        Log::instance().write(Log::Warning, L"below");
        Log::instance().setLogLevel(Log::ELevel(2));
        stream << std::hex;
        Log::instance().write(Log::Warning, L"straße\r\n\x85\x2028\x2029\x1b[2J");
        QVERIFY(stream.flags() & std::ios_base::hex);
        const QString text = QString::fromStdWString(stream.str());
        const QRegularExpression format(
            QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[warning\\] "
                           "straße      \\[2J\n$"));
        Log::instance().setStream(Log::Warning, nullptr);
        QVERIFY2(format.match(text).hasMatch(), qPrintable(text));
    }

    void keepsOthersOutOfALine()
    {
        Log& log = Log::instance();
        const std::pair<Log::ELevel, const wchar_t*> levels[]
            = {{Log::Debug, L"[debug]"},
               {Log::Information, L"[information]"},
               {Log::Error, L"[error]"}};
        for (const auto& [level, name] : levels) {
            std::wostringstream stream;
            std::wostream* const before = log.getStream(level);
            log.setStream(level, &stream);
            const auto isFree = [&log] {
                bool free = false;
                Thread other([&] {
                    free = log.mutex().try_lock();
                    if (free)
                        log.mutex().unlock();
                });
                other.start();
                other.wait();
                return free;
            };
            kel::MutexLocker locker(log.mutex(), false);
            QVERIFY(isFree());
            locker.lock();
            log.pre(level) << L"text";
            QVERIFY(!isFree());
            locker.unlock();
            QVERIFY(isFree() && stream.str().find(name) != std::wstring::npos);
            log.setStream(level, before);
        }
        std::wostringstream none;
        log.setStream(Log::Off, &none);
        log.pre(Log::Off) << L"dropped";
        QVERIFY(none.str().empty());
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
        Log::instance().setStream(Log::Warning, nullptr);
        QVERIFY(stream.bad() && (stream.flags() & std::ios_base::hex));
    }
};

QTEST_GUILESS_MAIN(LogTest)
#include "LogTest.moc"
