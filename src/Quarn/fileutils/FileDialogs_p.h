#ifndef QUARN_FILEUTILS_FILEDIALOGS_P_H
#define QUARN_FILEUTILS_FILEDIALOGS_P_H

#include <QStringList>

class QWidget;

namespace kel {

/** Qt's modal file dialogs, each with its usual options; the answer is empty after a "Cancel". */
struct FileDialogs
{
    QString (*openFile)(QWidget* parent, const QString& caption, const QString& start,
                        const QString& filter);
    QStringList (*openFiles)(QWidget* parent, const QString& caption, const QString& start,
                             const QString& filter);
    QString (*saveFile)(QWidget* parent, const QString& caption, const QString& start,
                        const QString& filter, QString* selectedFilter);
    QString (*openDirectory)(QWidget* parent, const QString& caption, const QString& start);
};

/** The dialogs. Where they cannot be had, a line in the log says why and each answers nothing. */
const FileDialogs& fileDialogs();

} // namespace kel
#endif
