// Loads, uses and unloads the library that is its argument, and tells what is there at which time.

#include "support/residentLibrary.h"

#include <QCoreApplication>
#include <QDir>
#include <QLibrary>

#include <cstdio>
#include <cstdlib>

#if __has_include(<malloc.h>) && defined __GLIBC__
#include <malloc.h>

/** What was asked for and not freed. */
static qint64 memoryInUse()
{
    return qint64(::mallinfo2().uordblks);
}
#else
static qint64 memoryInUse()
{
    return 0;
}
#endif

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QLibrary library(QString::fromLocal8Bit(argv[1]));
    for (int step = 0; step < 5; ++step) { // it is loaded in the odd ones
        const bool loaded = step % 2 == 1 && library.load();
        const bool resident = isResident(library.fileName());
        QFile maps(QStringLiteral("/proc/self/maps"));
        const bool widgets = maps.open(QIODevice::ReadOnly) && maps.readAll().contains("Widgets");
        const QStringList catalogues = QDir(QStringLiteral(":/Translations")).entryList();
        std::printf("%s,%s%s\n", resident ? "loaded" : "gone", widgets ? "widgets," : "",
                    qPrintable(catalogues.join(QLatin1Char(','))));
        std::fflush(stdout); // a sanitizer has a child that failed to start print what isn't yet
        if (!loaded)
            continue;
        const auto show = reinterpret_cast<void (*)(const QString&, const QString&)>(
            library.resolve("_ZN3kel9FileUtils17showDesktopWindowERK7QStringS3_"));
        // Elsewhere the file manager needs no further library, and would be seen.
        const QString root = QDir::rootPath();
        show(root == QLatin1String("/") ? root : QStringLiteral(":/none"), {});
        library.unload();
    }
    // Then so often that what each time leaves would show. The first ones warm up.
    qint64 before = 0;
    for (int time = 0; argc > 2 && time < std::atoi(argv[2]); ++time) {
        if (time == 100)
            before = memoryInUse();
        if (!library.load() || QDir(QStringLiteral(":/Translations")).isEmpty())
            return 1;
        if (!library.unload() || isResident(library.fileName())
            || !QDir(QStringLiteral(":/Translations")).isEmpty())
            return 2;
    }
    const qint64 grown = argc > 2 ? memoryInUse() - before : 0;
    if (argc > 2)
        std::fprintf(stderr, "grown by %lld bytes\n", static_cast<long long>(grown));
    return grown > 10000 ? 3 : 0;
}
