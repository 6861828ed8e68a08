#include <Quarn/fileutils/FileUtils.h>

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <tuple>

using namespace kel;

namespace {

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

const QString key = QStringLiteral("folder");

} // namespace

/** The dialogs as a user meets them, Qt's own on the offscreen platform. */
class DialogsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_folder.path());
        QVERIFY(QDir().mkpath(path("data")) && QDir().mkpath(path("other")));
        for (const char* const name : {"a.txt", "data/a.txt", "other/b.txt", "other/c.txt"})
            QVERIFY(QFile(path(name)).open(QIODevice::WriteOnly));
        QVERIFY(QDir::setCurrent(m_folder.path()));
        m_settings = std::make_unique<QSettings>(path("settings.ini"), QSettings::IniFormat);
    }

    void beginsWhereAsked()
    {
        const QString a = QStringLiteral("a.txt");
        const std::tuple<QString, QString, QString> rows[] = {{path("data"), {}, path("data/")},
                                                              {path("data"), a, path("data/a.txt")},
                                                              {{}, a, path("a.txt")},
                                                              {path("none"), a, path("a.txt")}};
        for (const bool save : {false, true}) {
            for (auto [dir, file, start] : rows) {
                const QString dirThen = QFileInfo::exists(dir) ? dir : QString();
                const QString fileThen = file;
                const User user;
                QVERIFY(!(save ? FileUtils::saveFileDialog(dir, file)
                               : FileUtils::openFileDialog(dir, file)));
                QCOMPARE(user.startPath, start);
                QVERIFY(dir == dirThen && file == fileThen);
            }
        }
    }

    void remembersTheFolder()
    {
        for (const Kind kind : {Open, Save}) {
            const QString name
                = QString::fromLatin1(kind == Open ? "other/b.txt" : "other/new.txt");
            m_settings->clear();
            QCOMPARE(ask(kind, {}), "data/a.txt: cancelled a.txt, nothing");
            QCOMPARE(ask(kind, {name}), "data/a.txt: " + name.toLatin1() + ", other");
            QCOMPARE(ask(kind, {}), "other/a.txt: cancelled a.txt, other");
        }
        m_settings->setValue(key, path("data"));
        QCOMPARE(ask(Folder, {QStringLiteral("other")}), "data/: other, other");
        QCOMPARE(ask(Folder, {}), "other/: cancelled a.txt, other");
        // After several files the folder stays as it was.
        m_settings->setValue(key, path("data"));
        QCOMPARE(ask(SeveralFiles, {}), "data/: cancelled , data");
        QCOMPARE(ask(SeveralFiles, {QStringLiteral("other/b.txt"), QStringLiteral("other/c.txt")}),
                 "data/: other/b.txt other/c.txt, data");
        m_settings->clear();
        QVERIFY(ask(SeveralFiles, {QStringLiteral("other/b.txt")}).endsWith(": other/b.txt, "));
    }

    void passesTheFilterOn()
    {
        const QString texts = QStringLiteral("Texts (*.txt)");
        const QString all = QStringLiteral("All (*)");
        QString dir = path("data");
        QString file = QStringLiteral("new");
        QString selected = all;
        const User user({file}, texts);
        QVERIFY(FileUtils::saveFileDialog(dir, file, QString(), texts + QStringLiteral(";;") + all,
                                          nullptr, &selected));
        QVERIFY(user.startFilter == all && selected == texts);
    }

private:
    QString path(const char* name) const { return m_folder.filePath(QString::fromLatin1(name)); }

    /** Where the dialog began, its answer, and the folder remembered afterwards. */
    QByteArray ask(Kind kind, const QStringList& names)
    {
        QStringList entered;
        for (const QString& name : names)
            entered << m_folder.filePath(name);
        const User user(entered);
        const QString none;
        const QString data = path("data");
        QString file = QStringLiteral("a.txt");
        QStringList files;
        QSettings* const settings = m_settings.get();
        const bool chosen
            = kind == Open
                  ? FileUtils::openFileDialog(settings, key, file, none, none, nullptr, data)
              : kind == Save
                  ? FileUtils::saveFileDialog(settings, key, file, none, none, nullptr, data)
              : kind == Folder ? FileUtils::openDirectoryDialog(settings, key, file)
                               : FileUtils::openFilesDialog(settings, key, files);
        if (kind == SeveralFiles)
            file = files.join(QLatin1Char(' '));
        const QString remembered = settings->value(key, QStringLiteral("nothing")).toString();
        return QStringLiteral("%1: %2%3, %4")
            .arg(user.startPath, chosen ? none : QStringLiteral("cancelled "), file, remembered)
            .remove(m_folder.path() + QLatin1Char('/'))
            .toLatin1();
    }

    QTemporaryDir m_folder;
    std::unique_ptr<QSettings> m_settings;
};

/** Asked by the leak sanitizer: the offscreen platform of Qt 5 leaks its screen. */
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:QScreen::QScreen\nleak:libqoffscreen";
}

QTEST_MAIN(DialogsTest)
#include "DialogsTest.moc"
