#include "support/TestRegistry.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace kel;

namespace {

/**
 * Stands for the user at the next file dialog: notes where it begins, then enters names and
 * confirms, or cancels when there are none. A dialog that is still there after a while is closed.
 */
class User : public QObject
{
public:
    explicit User(const QStringList& entered, const QString& chosenFilter = QString())
        : m_entered(entered), m_filter(chosenFilter)
    {
        connect(&m_timer, &QTimer::timeout, this, &User::look);
        m_timer.start(10);
    }

    QString startFolder;
    QString startName;
    QString startFilter;
    bool foldersOnly = false;

private:
    void look()
    {
        const QWidgetList widgets = QApplication::topLevelWidgets();
        for (QWidget* const widget : widgets) {
            auto* const dialog = qobject_cast<QFileDialog*>(widget);
            if (!dialog || !dialog->isVisible())
                continue;
            if (m_answered && ++m_looks > 500)
                dialog->reject();
            else if (!m_answered)
                answer(dialog);
        }
    }

    void answer(QFileDialog* dialog)
    {
        m_answered = true;
        auto* const name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        startFolder = dialog->directory().absolutePath();
        startName = name->text();
        startFilter = dialog->selectedNameFilter();
        foldersOnly = dialog->testOption(QFileDialog::ShowDirsOnly);
        if (!m_filter.isEmpty())
            dialog->selectNameFilter(m_filter);
        if (m_entered.isEmpty()) {
            dialog->reject();
            return;
        }
        name->setText(m_entered.size() == 1
                          ? m_entered.first()
                          : QLatin1Char('"') + m_entered.join(QStringLiteral("\" \""))
                                + QLatin1Char('"'));
        static_cast<QDialog*>(dialog)->accept();
    }

    const QStringList m_entered;
    const QString m_filter;
    QTimer m_timer;
    bool m_answered = false;
    int m_looks = 0;
};

const QString key = QStringLiteral("folder");

} // namespace

/** The dialogs as a user meets them, Qt's own on the offscreen platform. */
class DialogsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { m_settings->clear(); }
    void beginsWhereAsked_data();
    void beginsWhereAsked();
    void remembersTheFolder_data();
    void remembersTheFolder();
    void passesTheFilterOn();
    void asksForSeveralFiles();
    void asksForFolders();
    void cleanupTestCase() { QDir::setCurrent(m_before); }

private:
    QString path(const char* name) const { return m_folder.filePath(QString::fromLatin1(name)); }
    bool ask(bool save, QString& dir, QString& file)
    {
        return save ? FileUtils::saveFileDialog(dir, file) : FileUtils::openFileDialog(dir, file);
    }
    bool askWithSettings(bool save, QString& file, const QString& defaultDir)
    {
        const QString none;
        return save ? FileUtils::saveFileDialog(m_settings.get(), key, file, none, none, nullptr,
                                                defaultDir)
                    : FileUtils::openFileDialog(m_settings.get(), key, file, none, none, nullptr,
                                                defaultDir);
    }

    QTemporaryDir m_folder;
    QString m_before;
    std::unique_ptr<QSettings> m_settings;
};

void DialogsTest::initTestCase()
{
    QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_folder.path());
    m_before = QDir::currentPath();
    for (const char* const name : {"data", "other", "work"})
        QVERIFY(QDir().mkpath(path(name)));
    for (const char* const name : {"data/a.txt", "other/b.txt", "other/c.txt", "work/a.txt"})
        QVERIFY(QFile(path(name)).open(QIODevice::WriteOnly));
    QVERIFY(QDir::setCurrent(path("work")));
    m_settings = std::make_unique<QSettings>(path("settings.ini"), QSettings::IniFormat);
}

void DialogsTest::beginsWhereAsked_data()
{
    QTest::addColumn<QString>("dir");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("startFolder");
    QTest::addColumn<QString>("dirAfterwards");
    const QString a = QStringLiteral("a.txt");
    QTest::newRow("folder") << path("data") << QString() << path("data") << path("data");
    QTest::newRow("folder and file") << path("data") << a << path("data") << path("data");
    QTest::newRow("file") << QString() << a << path("work") << QString();
    QTest::newRow("missing folder") << path("none") << a << path("work") << QString();
}

void DialogsTest::beginsWhereAsked()
{
    QFETCH(QString, startFolder);
    for (const bool save : {false, true}) {
        QFETCH(QString, dir);
        QFETCH(QString, file);
        const QString proposed = file;
        const User user({});
        QVERIFY(!ask(save, dir, file));
        QCOMPARE(user.startFolder, startFolder);
        QCOMPARE(user.startName, proposed);
        QTEST(dir, "dirAfterwards");
        QCOMPARE(file, proposed);
    }
}

void DialogsTest::remembersTheFolder_data()
{
    QTest::addColumn<bool>("save");
    QTest::addColumn<QString>("name");
    QTest::newRow("open") << false << QStringLiteral("b.txt");
    QTest::newRow("save") << true << QStringLiteral("new.txt");
}

void DialogsTest::remembersTheFolder()
{
    QFETCH(bool, save);
    QFETCH(QString, name);
    QString file = QStringLiteral("a.txt");
    {
        const User user({});
        QVERIFY(!askWithSettings(save, file, path("data")));
        QCOMPARE(user.startFolder, path("data"));
        QCOMPARE(file, QStringLiteral("a.txt"));
        QVERIFY(!m_settings->contains(key));
    }
    {
        const User user({path("other/") + name});
        QVERIFY(askWithSettings(save, file, path("data")));
        QCOMPARE(file, path("other/") + name);
        QCOMPARE(m_settings->value(key), QVariant(path("other")));
    }
    const User user({});
    file.clear();
    QVERIFY(!askWithSettings(save, file, path("data")));
    QCOMPARE(user.startFolder, path("other"));
}

void DialogsTest::passesTheFilterOn()
{
    const QString texts = QStringLiteral("Texts (*.txt)");
    const QString all = QStringLiteral("All (*)");
    QString dir = path("data");
    QString file = QStringLiteral("new");
    QString selected = all;
    const User user({file}, texts);
    QVERIFY(FileUtils::saveFileDialog(dir, file, QString(), texts + QStringLiteral(";;") + all,
                                      nullptr, &selected));
    QCOMPARE(user.startFilter, all);
    QCOMPARE(selected, texts);
}

void DialogsTest::asksForSeveralFiles()
{
    QStringList files{QStringLiteral("before")};
    {
        const User user({});
        QVERIFY(!FileUtils::openFilesDialog(m_settings.get(), key, files));
        QCOMPARE(files, QStringList());
        QVERIFY(!m_settings->contains(key));
    }
    {
        const User user({path("other/b.txt"), path("other/c.txt")});
        QVERIFY(FileUtils::openFilesDialog(m_settings.get(), key, files));
        QCOMPARE(files, QStringList({path("other/b.txt"), path("other/c.txt")}));
        QCOMPARE(m_settings->value(key), QVariant(QString()));
        QVERIFY(m_settings->contains(key));
    }
    m_settings->setValue(key, path("data"));
    const User user({path("other/b.txt")});
    QVERIFY(FileUtils::openFilesDialog(m_settings.get(), key, files));
    QCOMPARE(user.startFolder, path("data"));
    QCOMPARE(m_settings->value(key), QVariant(path("data")));
}

void DialogsTest::asksForFolders()
{
    QString dir = path("data");
    {
        const User user({});
        QVERIFY(!FileUtils::openDirectoryDialog(dir));
        QCOMPARE(user.startFolder, path("data"));
        QVERIFY(user.foldersOnly);
        QCOMPARE(dir, path("data"));
    }
    {
        const User user({path("other")});
        m_settings->setValue(key, path("work"));
        QVERIFY(FileUtils::openDirectoryDialog(m_settings.get(), key, dir));
        QCOMPARE(user.startFolder, path("work"));
        QCOMPARE(dir, path("other"));
        QCOMPARE(m_settings->value(key), QVariant(path("other")));
    }
    dir = path("data");
    const User user({});
    QVERIFY(!FileUtils::openDirectoryDialog(m_settings.get(), key, dir));
    QCOMPARE(user.startFolder, path("other"));
    QCOMPARE(dir, path("data"));
}

QUARN_TEST(DialogsTest)
#include "DialogsTest.moc"
