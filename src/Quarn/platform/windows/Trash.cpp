#include <Quarn/platform/Trash_p.h>

#include <Quarn/platform/windows/SystemCalls_p.h>
#include <Quarn/platform/windows/SystemPath_p.h>

#include <QDir>

namespace kel {

TrashOutcome moveToTrash(const QString& path)
{
    // The shell takes a list of names, each with a zero behind it and one more at the end, and
    // finds nothing under a name with forward slashes.
    std::wstring names = shellPath(path);
    if (names.empty())
        return {ERROR_INVALID_NAME, QString()};
    const QString clean = QDir::cleanPath(path);
    const bool isShare = clean.startsWith(QLatin1String("//")) && clean.count(QLatin1Char('/')) < 4;
    if (isShare || QDir(clean).isRoot()) // some shells would take all that is in it
        return {ERROR_ACCESS_DENIED, QString()};
    names += L'\0';
    SHFILEOPSTRUCTW operation = {};
    operation.wFunc = FO_DELETE;
    operation.pFrom = names.c_str();
    operation.fFlags = FOF_ALLOWUNDO;
    return {systemCalls().fileOperation(&operation), QString()};
}

// What is in the bin, only objects of the shell know; the way back is for its own windows.

int listTrash(QList<TrashEntry>&)
{
    return ERROR_NOT_SUPPORTED;
}

int restoreFromTrash(const QString&, const QString&)
{
    return ERROR_NOT_SUPPORTED;
}

QList<TrashFailure> emptyTrash()
{
    SHQUERYRBINFO bin = {};
    bin.cbSize = sizeof bin;
    if (::SHQueryRecycleBinW(nullptr, &bin) == S_OK && bin.i64NumItems == 0)
        return {}; // to empty it would fail
    const HRESULT result = ::SHEmptyRecycleBinW(
        nullptr, nullptr, SHERB_NOCONFIRMATION | SHERB_NOPROGRESSUI | SHERB_NOSOUND);
    if (SUCCEEDED(result))
        return {};
    return {TrashFailure{QString(), int(result)}};
}

} // namespace kel
