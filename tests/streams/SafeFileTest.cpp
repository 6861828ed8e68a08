#include "support/Entries.h"
#include "support/ResourceLimit.h"
#include "support/TemporaryFolder.h"

#include <Quarn/streams/SafeFile.h>

#include <QTest>

using kel::SafeFile;

class SafeFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { createEntries(m_folder.root(), {"f"}); }
    void cleanup() { QCOMPARE(entriesOf(m_folder.root()), (Entries{"f"})); }

    void takesItsPlaceWhenCommitted()
    {
        for (const auto mode : {QIODevice::WriteOnly | QIODevice::Unbuffered,
                                QIODevice::ReadWrite | QIODevice::Truncate}) {
            init();
            SafeFile file(m_path);
            QVERIFY(file.open(mode));
            QVERIFY(file.writeBlock("0123456789", 10));
            QVERIFY(file.setPosition(3) && file.writeBlock("abc", 3));
            QCOMPARE(file.streamSize(), qint64(10));
            file.finishIO();
            QVERIFY(!file.ioFailureDetected() && contentsOf(m_path) == "contents");
            QCOMPARE(contentsOf(file.temporaryPath()), QByteArray("012abc6789"));
            QVERIFY2(file.commit(), qPrintable(file.errorString()));
            QCOMPARE(contentsOf(m_path), QByteArray("012abc6789"));
            QVERIFY(file.temporaryPath().isEmpty() && !file.commit());
            QVERIFY(file.open(mode) && file.commit() && contentsOf(m_path).isEmpty());
        }
    }

    void isGoneWithoutCommit()
    {
        SafeFile file(m_path);
        QVERIFY(!file.open(QIODevice::ReadOnly) && !file.open(QIODevice::Append)
                && !file.open(QIODevice::WriteOnly | QIODevice::NewOnly));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.writeBlock("new", 3));
        file.close();
        QVERIFY(file.open(QIODevice::WriteOnly) && file.writeBlock("newer", 5));
        QVERIFY(!file.open(QIODevice::WriteOnly)); // it is
        QCOMPARE(entriesOf(m_folder.root()).size(), 2);
    }

    void remembersAFailedWrite()
    {
        if (!hasPosix)
            QSKIP("The size of files cannot be limited here", );
        for (const auto mode : {QIODevice::Unbuffered, QIODevice::NotOpen}) {
            SafeFile file(m_path);
            QVERIFY(file.open(QIODevice::WriteOnly | mode));
            {
                const ResourceLimit full(ResourceLimit::FileSize, 100);
                QVERIFY(!file.writeBlock(QByteArray(40000, 'x').constData(), 40000));
            }
            QVERIFY(file.ioFailureDetected());
            QVERIFY(!file.writeBlock("more", 4)); // for which there would be room now
            QVERIFY(!file.commit() && file.errorString() == QLatin1String("File too large"));
            QVERIFY(file.ioFailureDetected() && contentsOf(m_path) == "contents");
        }
    }

    void tellsWhyItCannotBeOpened()
    {
        SafeFile file(m_folder.at("f/g"));
        QVERIFY(!file.open(QIODevice::WriteOnly) && file.ioFailureDetected());
        QCOMPARE(file.errorString(), qt_error_string(hasPosix ? ENOTDIR : 3));
    }

private:
    TemporaryFolder m_folder;
    const QString m_path = m_folder.at("f");
};

QTEST_GUILESS_MAIN(SafeFileTest)
#include "SafeFileTest.moc"
