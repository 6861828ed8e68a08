#include <Quarn/module/commentStreamSuffix.h>
#include <Quarn/module/registerTranslations.h>

#include <QProcess>
#include <QTest>
#include <QTranslator>

/** What loading the library brings, and unloading takes away. */
class ModuleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cataloguesTranslate()
    {
        const auto text = [] { return QCoreApplication::translate("QIODevice", "Unknown error"); };
        const auto translated = [&](const char* catalogue) {
            QTranslator translator;
            const bool loaded = translator.load(QLatin1String(catalogue));
            return loaded && QCoreApplication::installTranslator(&translator) ? text() : QString();
        };
        kel::registerTranslations(); // for a static library
        QCOMPARE(translated(":/Translations/Quarn_fr.qm"), QStringLiteral("Erreur inconnue"));
        QCOMPARE(translated(":/Translations/Quarn_de.qm"), QStringLiteral("Unbekannter Fehler"));
        QCOMPARE(text(), QStringLiteral("Unknown error")); // nobody has installed them
        QCOMPARE(kel::commentStreamSuffix, QStringLiteral(":comment")); // without a use, no library
    }

    void unloads()
    {
        if (QByteArray(QUARN_LIBRARY).endsWith(".a"))
            return; // a static library stays
        QProcess program;
        program.start(QStringLiteral(UNLOADING_PROGRAM), {QStringLiteral(QUARN_LIBRARY)});
        QVERIFY(program.waitForFinished() && program.exitCode() == 0);
        const QByteArray loaded = "loaded,Quarn_de.qm,Quarn_fr.qm\n", gone = "gone,\n";
        QCOMPARE(program.readAllStandardOutput(), gone + loaded + gone + loaded + gone);
        QCOMPARE(program.readAllStandardError(), QByteArray());
    }
};

QTEST_GUILESS_MAIN(ModuleTest)
#include "ModuleTest.moc"
