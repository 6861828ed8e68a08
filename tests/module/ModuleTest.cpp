#include <Quarn/module/commentStreamSuffix.h>
#include <Quarn/module/registerTranslations.h>

#include <support/TemporaryFolder.h>

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

    void loadsWhatIsUsedAndUnloads()
    {
        if (QByteArray(QUARN_LIBRARY).endsWith(".a"))
            return; // a static library stays
        const TemporaryFolder folder;
        const QString alone = folder.at("alone.so"), library = QStringLiteral(QUARN_LIBRARY);
        const bool separate = library.contains(QLatin1String(".so")); // the desktop, for this use
        QVERIFY(QFile::copy(library, alone));
        const QByteArray first = "gone,\nloaded,Quarn_de.qm,Quarn_fr.qm\n";
        const QByteArray rest = "gone,W\nloaded,WQuarn_de.qm,Quarn_fr.qm\ngone,W\n";
        for (const QString& loaded :
             separate ? QStringList{library, alone} : QStringList(library)) {
            QProcess program;
            QProcessEnvironment bare; // without a bus, or a PATH to xdg-open
            bare.insert(QStringLiteral("PATH"), QStringLiteral("/nowhere"));
            const QString profile = QStringLiteral("LLVM_PROFILE_FILE"); // of scripts/coverage.sh
            bare.insert(profile, qEnvironmentVariable(profile.toLatin1()));
            if (separate)
                program.setProcessEnvironment(bare);
            QStringList arguments{loaded};
            if (!qEnvironmentVariableIsSet("LLVM_PROFILE_FILE")) // which leaves something each time
                arguments << QStringLiteral("1000");
            program.start(QStringLiteral(UNLOADING_PROGRAM), arguments);
            QVERIFY(program.waitForFinished(240000) && program.exitCode() == 0);
            // Widgets come with the library for the desktop, and stay. Without it a warning tells so.
            QCOMPARE(program.readAllStandardOutput().replace("\r", ""),
                     first
                         + QByteArray(rest).replace("W", separate && loaded == library ? "widgets,"
                                                                                       : ""));
            const QByteArray said = program.readAllStandardError();
            QVERIFY2(said.count("desktop.so") == 2 * (loaded == alone), said);
        }
    }
};

QTEST_GUILESS_MAIN(ModuleTest)
#include "ModuleTest.moc"
