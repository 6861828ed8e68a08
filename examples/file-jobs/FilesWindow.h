#ifndef FILE_JOBS_FILESWINDOW_H
#define FILE_JOBS_FILESWINDOW_H

#include <Quarn/filejobs/FileResult.h>

#include <QMainWindow>
#include <QPointer>
#include <QStringList>

#include <memory>
#include <vector>

class QAction;
class QFileSystemModel;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTreeView;

namespace kel {
class FileJob;
struct FileProgress;
} // namespace kel

/** Shows a folder; copies, moves and trashes what is selected in it, and takes that back. */
class FilesWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit FilesWindow(const QString& folder);

    void showFolder(const QString& folder);
    void select(const QStringList& names);

    void copyTo(const QString& folder);
    void moveTo(const QString& folder);
    void trash();
    void undo();
    void cancel();

Q_SIGNALS:
    void folderLoaded();
    void progressed();
    void ended(bool ok);

private:
    enum class Kind { Copy, Move, Trash, Undo };
    struct Done
    {
        Kind kind;
        QList<kel::FileResult::Place> places;
    };

    void addActions();
    QAction* addAction(const char* icon, const QString& text, const QKeySequence& shortcut);
    QStringList selection() const;
    QString chosenFolder(const QString& caption);
    void start(Kind kind, kel::FileJob* job);
    void restore(const QList<kel::FileResult::Place>& places);
    void showProgress(const kel::FileProgress& progress);
    void finish(Kind kind, const kel::FileResult& result);
    void updateActions();

    QFileSystemModel* m_model;
    QLineEdit* m_path;
    QTreeView* m_view;
    QProgressBar* m_bar;
    QLabel* m_status;
    QPushButton* m_cancel;
    std::vector<QAction*> m_selectionActions; // for which something has to be selected
    QAction* m_undo = nullptr;
    QPointer<kel::FileJob> m_job; // while it runs
    std::vector<Done> m_done; // what can be taken back, the last at the end
};

#endif
