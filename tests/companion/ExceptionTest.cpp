#include "support/TestRegistry.h"

#include <Quarn/companion/FileException.h>

#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

using namespace kel;

namespace {

QByteArray whatOf(const std::exception& exception)
{
    return exception.what();
}

std::exception_ptr thrown()
{
    try {
        const IOException cause(QTextStream::ReadCorruptData);
        throw FileException(QFileInfo(QStringLiteral("/data/Grüße.txt")), QFile::OpenError,
                            QStringLiteral("file not found"), &cause);
    } catch (...) {
        return std::current_exception();
    }
}

} // namespace

/** What exceptions tell, and that they tell it after their thrower is gone. */
class ExceptionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsFileMessageAndCause();
    void tellsTheSystemsReason();
    void copiesKeepEverything();
    void assignmentDropsTheFormerText();
    void threadsShareOneText();
};

void ExceptionTest::tellsFileMessageAndCause()
{
    try {
        std::rethrow_exception(thrown());
    } catch (const IOException& exception) { // also caught as its base
        const QByteArray what = whatOf(exception);
        QVERIFY2(what.contains("/data/Grüße.txt: file not found"), what.constData());
        QVERIFY2(what.contains("caused by kel::IOException: "), what.constData());
        QVERIFY2(what.contains("corrupt"), what.constData());
        QCOMPARE(exception.message(), QStringLiteral("file not found"));
        QVERIFY(dynamic_cast<const IOException*>(exception.cause()));
    }
}

void ExceptionTest::tellsTheSystemsReason()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("missing")));
    QVERIFY(!file.open(QIODevice::ReadOnly));
    const FileException exception(file);
    QCOMPARE(exception.fileName(), file.fileName());
    QCOMPARE(exception.error(), QFile::OpenError);
    const QByteArray what = whatOf(exception);
    QVERIFY2(what.contains(file.fileName().toUtf8()) && what.contains("No such file"), what);
}

void ExceptionTest::copiesKeepEverything()
{
    auto original = std::make_unique<FileException>(QFileInfo(QStringLiteral("a.txt")),
                                                    QFile::ReadError, QStringLiteral("message"));
    const QByteArray text = whatOf(*original);
    const FileException copy(*original);
    const ExceptionQt effect(QStringLiteral("effect"), original.get()); // clones the cause
    original.reset();
    QCOMPARE(whatOf(copy), text);
    QCOMPARE(copy.fileName(), QStringLiteral("a.txt"));
    QCOMPARE(copy.error(), QFile::ReadError);
    QVERIFY(dynamic_cast<const FileException*>(effect.cause()));
    QCOMPARE(whatOf(effect), "kel::ExceptionQt: effect; caused by " + text);
}

void ExceptionTest::assignmentDropsTheFormerText()
{
    IOException exception(QStringLiteral("first"));
    QVERIFY(whatOf(exception).contains("first"));
    exception = IOException(QStringLiteral("second"));
    QVERIFY(whatOf(exception).contains("second"));
    const IOException& self = exception;
    exception = self;
    QVERIFY(whatOf(exception).contains("second"));
}

void ExceptionTest::threadsShareOneText()
{
    const IOException exception(QStringLiteral("shared"));
    const char* texts[8] = {};
    std::vector<std::thread> threads;
    for (const char*& text : texts)
        threads.emplace_back([&] { text = exception.what(); });
    for (std::thread& thread : threads)
        thread.join();
    for (const char* const text : texts)
        QCOMPARE(static_cast<const void*>(text), static_cast<const void*>(texts[0]));
}

QUARN_TEST(ExceptionTest)
#include "ExceptionTest.moc"
