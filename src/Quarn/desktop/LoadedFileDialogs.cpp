#include <Quarn/desktop/desktopLibrary_p.h>
#include <Quarn/desktop/loadedFunction_p.h>

namespace kel {
namespace {

/** Every dialog is cancelled at once. */
constexpr FileDialogs noDialogs
    = {[](QWidget*, const QString&, const QString&, const QString&) { return QString(); },
       [](QWidget*, const QString&, const QString&, const QString&) { return QStringList(); },
       [](QWidget*, const QString&, const QString&, const QString&, QString*) { return QString(); },
       [](QWidget*, const QString&, const QString&) { return QString(); }};

} // namespace

const FileDialogs& fileDialogs()
{
    const QFunctionPointer function = loadedFunction("quarnFileDialogs1");
    return function ? *reinterpret_cast<decltype(&quarnFileDialogs1)>(function)() : noDialogs;
}

} // namespace kel
