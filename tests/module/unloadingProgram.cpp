// Loads and unloads the library that is its argument, and tells what is there at which time.

#include <QCoreApplication>
#include <QDir>

#include <cstdio>
#include <dlfcn.h>

namespace {

void report(const char* library)
{
    void* const resident = dlopen(library, RTLD_NOW | RTLD_NOLOAD);
    const QStringList catalogues = QDir(QStringLiteral(":/Translations")).entryList();
    std::printf("%s,%s\n", resident ? "loaded" : "gone",
                qPrintable(catalogues.join(QLatin1Char(','))));
    if (resident)
        dlclose(resident);
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const char* const library = argc > 1 ? argv[1] : "";
    report(library);
    for (int round = 0; round < 2; ++round) {
        void* const handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
        if (!handle) {
            std::fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
        report(library);
        dlclose(handle);
        report(library);
    }
    return 0;
}
