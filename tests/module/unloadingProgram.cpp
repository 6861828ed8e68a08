// Loads, uses and unloads the library that is its argument, and tells what is there at which time.

#include <QCoreApplication>
#include <QDir>

#include <cstdio>
#include <dlfcn.h>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    for (int step = 0; step < 5; ++step) { // it is loaded in the odd ones
        void* const handle = step % 2 == 1 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
        void* const resident = dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD);
        QFile maps(QStringLiteral("/proc/self/maps"));
        const bool widgets = maps.open(QIODevice::ReadOnly) && maps.readAll().contains("Widgets");
        const QStringList catalogues = QDir(QStringLiteral(":/Translations")).entryList();
        std::printf("%s,%s%s\n", resident ? "loaded" : "gone", widgets ? "widgets," : "",
                    qPrintable(catalogues.join(QLatin1Char(','))));
        if (handle) {
            void* const show = dlsym(handle, "_ZN3kel9FileUtils17showDesktopWindowERK7QStringS3_");
            reinterpret_cast<void (*)(const QString&, const QString&)>(show)(QDir::rootPath(), {});
            dlclose(handle);
        }
        if (resident)
            dlclose(resident);
    }
    return 0;
}
