// Loads, uses and unloads the library that is its argument, and tells what is there at which time.

#include <QCoreApplication>
#include <QDir>

#include <cstdio>
#include <dlfcn.h>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const char* const library = argc > 1 ? argv[1] : "";
    for (int step = 0; step < 5; ++step) { // it is loaded in the odd ones
        void* const handle = step % 2 == 1 ? dlopen(library, RTLD_NOW | RTLD_LOCAL) : nullptr;
        void* const resident = dlopen(library, RTLD_NOW | RTLD_NOLOAD);
        QFile maps(QStringLiteral("/proc/self/maps"));
        const bool widgets = maps.open(QIODevice::ReadOnly) && maps.readAll().contains("Widgets");
        const QStringList catalogues = QDir(QStringLiteral(":/Translations")).entryList();
        std::printf("%s,%s%s\n", resident ? "loaded" : "gone", widgets ? "widgets," : "",
                    qPrintable(catalogues.join(QLatin1Char(','))));
        using Show = void(const QString&, const QString&);
        const char* const name = "_ZN3kel9FileUtils17showDesktopWindowERK7QStringS3_";
        if (void* const show = handle ? dlsym(handle, name) : nullptr)
            reinterpret_cast<Show*>(show)(QDir::rootPath(), QString());
        for (void* const reference : {resident, handle}) {
            if (reference)
                dlclose(reference);
        }
    }
    return 0;
}
