#include "support/TestRegistry.h"

#include <Quarn/module/commentStreamSuffix.h>

#include <QProcess>
#include <QTest>
#include <QTranslator>

/** What loading the library brings, and unloading takes away. */
class ModuleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cataloguesTranslate_data();
    void cataloguesTranslate();
    void unloads();
};

void ModuleTest::cataloguesTranslate_data()
{
    QTest::addColumn<QString>("expected");
    QTest::newRow(":/Translations/Quarn_fr.qm") << QStringLiteral("Erreur inconnue");
    QTest::newRow(":/Translations/Quarn_de.qm") << QStringLiteral("Unbekannter Fehler");
}

void ModuleTest::cataloguesTranslate()
{
    const auto text = [] { return QCoreApplication::translate("QIODevice", "Unknown error"); };
    QCOMPARE(text(), QStringLiteral("Unknown error")); // nobody has installed them
    QTranslator translator;
    QVERIFY(translator.load(QLatin1String(QTest::currentDataTag())));
    QVERIFY(QCoreApplication::installTranslator(&translator));
    QTEST(text(), "expected");
    QCOMPARE(kel::commentStreamSuffix, QStringLiteral(":comment")); // without a use, no library
}

void ModuleTest::unloads()
{
    QProcess program;
    program.start(QStringLiteral(UNLOADING_PROGRAM), {QStringLiteral(QUARN_LIBRARY)});
    QVERIFY(program.waitForFinished());
    const QByteArray loaded = "loaded,Quarn_de.qm,Quarn_fr.qm\n";
    QCOMPARE(program.readAllStandardOutput(), "gone,\n" + loaded + "gone,\n" + loaded + "gone,\n");
    QCOMPARE(program.readAllStandardError(), QByteArray());
    QCOMPARE(program.exitCode(), 0);
}

QUARN_TEST(ModuleTest)
#include "ModuleTest.moc"
