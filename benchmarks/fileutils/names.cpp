#include "support/Scratch.h"
#include "support/contest.h"
#include "support/families.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QDir>
#include <QFile>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <unordered_set>

// The first free number in a folder where many are taken.

namespace bench {
namespace {

/** name.txt, name_2.txt and so on. */
QString takenName(int number)
{
    return number == 0 ? QStringLiteral("name.txt") : QStringLiteral("name_%1.txt").arg(number + 1);
}

QString takenFolder(int number)
{
    return QStringLiteral("temp%1").arg(number + 1);
}

QString namesFolder(int taken)
{
    return Scratch::folder(QStringLiteral("names-%1").arg(taken), taken, takenName);
}

QString tempFolder(int taken)
{
    return Scratch::folder(QStringLiteral("temp-%1").arg(taken), taken, takenFolder);
}

std::string candidate(int number)
{
    return "name_" + std::to_string(number) + ".txt";
}

std::unordered_set<std::string> namesIn(const QString& folder)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(
        ::opendir(QFile::encodeName(folder).constData()), ::closedir);
    insist(entries != nullptr, "a folder could not be listed");
    std::unordered_set<std::string> names;
    while (const dirent* entry = ::readdir(entries.get()))
        names.emplace(entry->d_name);
    return names;
}

QString listOnce(const QString& folder)
{
    const std::unordered_set<std::string> names = namesIn(folder);
    int number = 2;
    while (names.count(candidate(number)) > 0)
        ++number;
    return QString::fromStdString(candidate(number));
}

template <typename Find>
void addUniqueName(const char* item, int taken, const char* name, Find find)
{
    const auto work = [taken, find] {
        insist(find(namesFolder(taken)) == takenName(taken), "another name was found");
    };
    add(item, std::to_string(taken), name, work);
}

void addExact(int taken)
{
    const char* const item = "unique-name-exact";
    addUniqueName(item, taken, limit, listOnce);
    addUniqueName(item, taken, standard, [](const QString& folder) {
        const std::filesystem::path place(folder.toStdString());
        int number = 2;
        while (std::filesystem::exists(place / candidate(number)))
            ++number;
        return QString::fromStdString(candidate(number));
    });
    addUniqueName(item, taken, qt, [](const QString& folder) {
        const QDir place(folder);
        const QString name = QStringLiteral("name_%1.txt");
        int number = 2;
        while (place.exists(name.arg(number)))
            ++number;
        return name.arg(number);
    });
    addUniqueName(item, taken, quarn, [](const QString& folder) {
        return kel::FileUtils::uniqueFileName(QDir(folder), QStringLiteral("name.txt"), "_%d",
                                              true);
    });
}

void addByStem(int taken)
{
    const char* const item = "unique-name-stem";
    addUniqueName(item, taken, limit, listOnce);
    if (taken <= 1000) { // it takes seconds for more
        addUniqueName(item, taken, qt, [](const QString& folder) {
            const QString stem = QStringLiteral("name_%1");
            int number = 2;
            while (!QDir(folder)
                        .entryList({stem.arg(number) + QLatin1Char('*')},
                                   QDir::AllEntries | QDir::NoDotAndDotDot, QDir::NoSort)
                        .isEmpty())
                ++number;
            return stem.arg(number) + QStringLiteral(".txt");
        });
    }
    addUniqueName(item, taken, quarn, [](const QString& folder) {
        return kel::FileUtils::uniqueFileName(QDir(folder), QStringLiteral("name.txt"), "_%d",
                                              false);
    });
}

/** \a make creates the folder in the one it is given and answers its path. */
template <typename Make>
void addTempDirBy(int taken, const char* name, Make make)
{
    const auto work = [taken, make] {
        const QString folder = tempFolder(taken);
        const QByteArray made = QFile::encodeName(make(folder));
        insist(made == QFile::encodeName(folder + QLatin1Char('/') + takenFolder(taken))
                   && ::rmdir(made.constData()) == 0,
               "another folder was made");
    };
    add("temp-dir", std::to_string(taken), name, work);
}

void addTempDir(int taken)
{
    addTempDirBy(taken, limit, [](const QString& folder) {
        const std::unordered_set<std::string> names = namesIn(folder);
        int number = 1;
        while (names.count("temp" + std::to_string(number)) > 0)
            ++number;
        const std::string path = folder.toStdString() + "/temp" + std::to_string(number);
        ::mkdir(path.c_str(), 0700);
        return QString::fromStdString(path);
    });
    addTempDirBy(taken, standard, [](const QString& folder) {
        const std::string begin = folder.toStdString() + "/temp";
        int number = 1;
        while (::mkdir((begin + std::to_string(number)).c_str(), 0700) != 0)
            ++number;
        return QString::fromStdString(begin + std::to_string(number));
    });
    addTempDirBy(taken, qt, [](const QString& folder) {
        const QDir place(folder);
        const QString name = QStringLiteral("temp%1");
        int number = 1;
        while (place.exists(name.arg(number)))
            ++number;
        place.mkpath(name.arg(number));
        return place.absoluteFilePath(name.arg(number));
    });
    addTempDirBy(taken, quarn, [](const QString& folder) {
        const QByteArray before = qgetenv("TMPDIR");
        qputenv("TMPDIR", QFile::encodeName(folder));
        const QString made = kel::FileUtils::createTempDir();
        if (before.isNull())
            qunsetenv("TMPDIR");
        else
            qputenv("TMPDIR", before);
        return made;
    });
}

} // namespace

void addNames()
{
    for (const int taken : {10, 100, 1000, 5000, 10000}) {
        addExact(taken);
        addByStem(taken);
        addTempDir(taken);
    }
}

} // namespace bench
