#include <Quarn/fileutils/FileUtils.h>

#include <support/Entries.h>
#include <support/TemporaryFolder.h>

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QSettings>
#include <QTest>
#include <QTimer>

using namespace kel;

/**
 * Stands for the user at the next file dialog: notes where it begins, then enters names and
 * confirms, or cancels when there are none. A dialog that is still there after a while is closed.
 */
class User : public QTimer
{
public:
    explicit User(const QStringList& entered = {}, const QString& chosenFilter = {})
    {
        connect(this, &QTimer::timeout, this, [=] {
            auto* const dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            if (!dialog || (m_looks++ > 0 && m_looks < 500))
                return;
            if (m_looks > 1)
                return dialog->reject();
            auto* const name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
            startPath = dialog->directory().absolutePath() + QLatin1Char('/') + name->text();
            startFilter = dialog->selectedNameFilter();
            dialog->selectNameFilter(chosenFilter);
            name->setText(QStringLiteral("\"%1\"").arg(entered.join(QStringLiteral("\" \""))));
            entered.isEmpty() ? dialog->reject() : static_cast<QDialog*>(dialog)->accept();
        });
        start(10);
    }

    QString startPath;
    QString startFilter;

private:
    int m_looks = 0;
};

enum Kind { Open, Save, SeveralFiles, Folder };

/** The dialogs as a user meets them, Qt's own on the offscreen platform. */
class DialogsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_folder.path());
        createEntries(m_folder.root(), {"a.txt", "data/a.txt", "other/b.txt", "other/c.txt"});
        QVERIFY(QDir::setCurrent(m_folder.path()));
    }

    void remembersTheFolder()
    {
        for (const Kind kind : {Open, Save}) {
            const QByteArray name = kind == Open ? "other/b.txt" : "other/new.txt";
            m_settings.clear();
            QCOMPARE(ask(kind, {}), "data/a.txt: cancelled a.txt, nothing");
            QCOMPARE(ask(kind, {name}), "data/a.txt: " + name + ", other");
            QCOMPARE(ask(kind, {}), "other/a.txt: cancelled a.txt, other");
            QCOMPARE(ask(kind, {}, ""), "other/: cancelled , other");
            for (const char* const missing : {"none", ""}) { // the working folder instead
                m_settings.setValue(key, QLatin1String(missing));
                QCOMPARE(ask(kind, {}), "a.txt: cancelled a.txt, " + QByteArray(missing));
            }
        }
        m_settings.setValue(key, m_folder.at("data"));
        QCOMPARE(ask(Folder, {"other"}), "data/: other, other");
        QCOMPARE(ask(Folder, {}), "other/: cancelled a.txt, other");
        // After several files the folder stays as it was.
        QCOMPARE(ask(SeveralFiles, {}), "other/: cancelled , other");
        QCOMPARE(ask(SeveralFiles, {"data/a.txt", "a.txt"}), "other/: data/a.txt a.txt, other");
        m_settings.clear();
        QVERIFY(ask(SeveralFiles, {"other/b.txt"}).endsWith(": other/b.txt, "));
    }

    void passesTheFilterOnAndForgetsMissingFolders()
    {
        const QString texts = QStringLiteral("Texts (*.txt)"), all = QStringLiteral("All (*)");
        QString dir = m_folder.at("data"), file = QStringLiteral("new"), selected = all;
        const User user({file}, texts);
        QVERIFY(FileUtils::saveFileDialog(dir, file, QString(), texts + QStringLiteral(";;") + all,
                                          nullptr, &selected));
        QVERIFY(user.startFilter == all && selected == texts);
        for (const bool save : {false, true}) {
            const User cancelling;
            dir = m_folder.at("none");
            QVERIFY(!(save ? FileUtils::saveFileDialog(dir, file)
                           : FileUtils::openFileDialog(dir, file)));
            QVERIFY(dir.isEmpty() && file == QLatin1String("new"));
        }
    }

private:
    /** Where the dialog began, its answer, and the folder remembered afterwards. */
    QByteArray ask(Kind kind, const QByteArrayList& names, const char* name = "a.txt")
    {
        QStringList entered, files;
        for (const QByteArray& path : names)
            entered << m_folder.at(path);
        const User user(entered);
        const QString none, data = m_folder.at("data");
        QString file = QLatin1String(name);
        const bool chosen
            = kind == Open
                  ? FileUtils::openFileDialog(&m_settings, key, file, none, none, nullptr, data)
              : kind == Save
                  ? FileUtils::saveFileDialog(&m_settings, key, file, none, none, nullptr, data)
              : kind == Folder ? FileUtils::openDirectoryDialog(&m_settings, key, file)
                               : FileUtils::openFilesDialog(&m_settings, key, files);
        if (kind == SeveralFiles)
            file = files.join(QLatin1Char(' '));
        const QString remembered = m_settings.value(key, QStringLiteral("nothing")).toString();
        return QStringLiteral("%1: %2%3, %4")
            .arg(user.startPath, chosen ? none : QStringLiteral("cancelled "), file, remembered)
            .remove(m_folder.path() + QLatin1Char('/'))
            .toLatin1();
    }

    const QString key = QStringLiteral("folder");
    TemporaryFolder m_folder;
    QSettings m_settings{m_folder.at("settings.ini"), QSettings::IniFormat};
};

/** Asked by the leak sanitizer: the offscreen platform of Qt 5 leaks its screen. */
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:QScreen::QScreen\nleak:libqoffscreen";
}

QTEST_MAIN(DialogsTest)
#include "DialogsTest.moc"
