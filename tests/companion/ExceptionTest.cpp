#include <Quarn/companion/FileException.h>

#include <QFileInfo>
#include <QTest>

using namespace kel;

/** What exceptions tell, and that they tell it after their thrower is gone. */
class ExceptionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsFileReasonAndCause()
    {
        QFile file(QStringLiteral("/missing/Grüße.txt"));
        QVERIFY(!file.open(QIODevice::ReadOnly));
        auto cause = std::make_unique<FileException>(file);
        const FileException exception(QFileInfo(QStringLiteral("a.txt")), QFile::OpenError,
                                      QStringLiteral("file not found"), cause.get());
        cause.reset();
        const QByteArray expected("kel::FileException: a.txt: file not found; caused by "
                                  "kel::FileException: /missing/Grüße.txt: "
                                  + file.errorString().toUtf8());
        QCOMPARE(QByteArray(exception.what()), expected);
        QCOMPARE(QByteArray(FileException(exception).what()), expected);
    }

    void assignmentDropsTheFormerText()
    {
        IOException exception(QStringLiteral("first"));
        QCOMPARE(exception.what(), "kel::IOException: first");
        const std::pair<QTextStream::Status, const char*> statuses[]
            = {{QTextStream::Ok, "no text stream error"},
               {QTextStream::ReadPastEnd, "past"},
               {QTextStream::ReadCorruptData, "corrupt"},
               {QTextStream::WriteFailed, "not write"}};
        for (const auto& [status, text] : statuses) {
            exception = IOException(status);
            QVERIFY2(QByteArray(exception.what()).contains(text), exception.what());
        }
        const IOException& same = exception;
        const char* const kept = exception.what();
        exception = same;
        QVERIFY(exception.what() == kept); // a text that somebody may hold stays
        // A cause is kept as what it is.
        const ExceptionQt outer(QStringLiteral("outer"), &exception);
        const ExceptionQt outermost(QStringLiteral("outermost"), &outer);
        QVERIFY(
            QByteArray(outermost.what()).contains("kel::ExceptionQt: outer; caused by kel::IO"));
    }
};

QTEST_GUILESS_MAIN(ExceptionTest)
#include "ExceptionTest.moc"
