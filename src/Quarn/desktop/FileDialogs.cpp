#include <Quarn/desktop/desktopLibrary_p.h>

#include <QFileDialog>

namespace kel {
namespace {

QString openFile(QWidget* parent, const QString& caption, const QString& start,
                 const QString& filter)
{
    return QFileDialog::getOpenFileName(parent, caption, start, filter);
}

QStringList openFiles(QWidget* parent, const QString& caption, const QString& start,
                      const QString& filter)
{
    return QFileDialog::getOpenFileNames(parent, caption, start, filter);
}

QString saveFile(QWidget* parent, const QString& caption, const QString& start,
                 const QString& filter, QString* selectedFilter)
{
    return QFileDialog::getSaveFileName(parent, caption, start, filter, selectedFilter);
}

QString openDirectory(QWidget* parent, const QString& caption, const QString& start)
{
    return QFileDialog::getExistingDirectory(parent, caption, start);
}

} // namespace
} // namespace kel

const kel::FileDialogs* quarnFileDialogs1()
{
    static constexpr kel::FileDialogs dialogs
        = {kel::openFile, kel::openFiles, kel::saveFile, kel::openDirectory};
    return &dialogs;
}
