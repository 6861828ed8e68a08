#include <Quarn/desktop/loadedFunction_p.h>

#include <Quarn/companion/Log.h>
#include <Quarn/platform/LibraryFolder_p.h>

#include <QFileInfo>

namespace kel {
namespace {

/** An installation has it in a folder of its own, named as it is; a bundle may have it beside. */
QString desktopLibrary()
{
    const QString name = QStringLiteral("/" QUARN_DESKTOP_LIBRARY), beside = libraryFolder();
    const QString own = beside + name;
    return (QFileInfo(own).isDir() ? own : beside) + name;
}

} // namespace

/*
 * It stays: QtDBus and Qt's platform plug-ins run threads whose code must not go. It needs nothing
 * of the main library, so that one can be unloaded, and finds it there when it comes back.
 */
QFunctionPointer loadedFunction(const char* name)
{
    QLibrary library(desktopLibrary(), QUARN_DESKTOP_VERSION);
    library.setLoadHints(QLibrary::PreventUnloadHint);
    const bool loaded = library.load();
    const QFunctionPointer function = loaded ? library.resolve(name) : nullptr;
    if (!function) {
        const QString reason = loaded ? QStringLiteral("%1 has no %2")
                                            .arg(library.fileName(), QString::fromLatin1(name))
                                      : library.errorString();
        Log::instance().write(Log::Warning,
                              L"No dialogs or file manager: " + reason.toStdWString());
    }
    return function;
}

} // namespace kel
