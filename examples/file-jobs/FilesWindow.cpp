#include "FilesWindow.h"

#include <Quarn/filejobs/CopyJob.h>
#include <Quarn/filejobs/MoveJob.h>
#include <Quarn/filejobs/TrashJob.h>
#include <Quarn/fileutils/FileUtils.h>

#include <QAction>
#include <QFileSystemModel>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QToolBar>
#include <QTreeView>
#include <QVBoxLayout>

namespace {

QString inWords(const kel::FileResult& result)
{
    if (!result.failures.isEmpty())
        return result.what();
    return (result.cancelled ? FilesWindow::tr("Cancelled after %1 entries, %2")
                             : FilesWindow::tr("Done: %1 entries, %2"))
        .arg(result.entries)
        .arg(QLocale().formattedDataSize(result.bytes));
}

} // namespace

FilesWindow::FilesWindow(const QString& folder)
    : m_model(new QFileSystemModel(this)), m_path(new QLineEdit), m_view(new QTreeView),
      m_bar(new QProgressBar), m_status(new QLabel), m_cancel(new QPushButton(tr("Cancel")))
{
    m_view->setModel(m_model);
    m_view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_view->setRootIsDecorated(false);
    m_view->setItemsExpandable(false);
    m_view->setAlternatingRowColors(true);
    m_view->hideColumn(2); // the type, which the names tell
    m_view->setColumnWidth(0, 380);
    m_bar->setFixedWidth(220);
    m_status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // a path may be long

    auto* const below = new QHBoxLayout;
    below->addWidget(m_status, 1);
    below->addWidget(m_bar);
    below->addWidget(m_cancel);
    auto* const contents = new QWidget;
    auto* const all = new QVBoxLayout(contents);
    all->addWidget(m_path);
    all->addWidget(m_view, 1);
    all->addLayout(below);
    setCentralWidget(contents);
    setWindowTitle(tr("Files"));
    resize(720, 400);
    addActions();

    connect(m_path, &QLineEdit::returnPressed, this, [this] { showFolder(m_path->text()); });
    connect(m_view, &QTreeView::activated, this, [this](const QModelIndex& index) {
        if (m_model->isDir(index))
            showFolder(m_model->filePath(index));
    });
    connect(m_view->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &FilesWindow::updateActions);
    connect(m_cancel, &QPushButton::clicked, this, &FilesWindow::cancel);
    connect(m_model, &QFileSystemModel::directoryLoaded, this, &FilesWindow::folderLoaded);
    showFolder(folder);
}

void FilesWindow::addActions()
{
    connect(addAction("go-up", tr("Up"), QKeySequence(QStringLiteral("Alt+Up"))),
            &QAction::triggered, this, [this] { showFolder(QFileInfo(m_path->text()).path()); });
    QAction* const copy = addAction("edit-copy", tr("Copy to…"), Qt::Key_F5);
    connect(copy, &QAction::triggered, this, [this] { copyTo(chosenFolder(tr("Copy to"))); });
    QAction* const move = addAction("edit-cut", tr("Move to…"), Qt::Key_F6);
    connect(move, &QAction::triggered, this, [this] { moveTo(chosenFolder(tr("Move to"))); });
    QAction* const trashed = addAction("user-trash", tr("Move to Trash"), QKeySequence::Delete);
    connect(trashed, &QAction::triggered, this, &FilesWindow::trash);
    m_undo = addAction("edit-undo", tr("Undo"), QKeySequence::Undo);
    connect(m_undo, &QAction::triggered, this, &FilesWindow::undo);
    m_selectionActions = {copy, move, trashed};
}

QAction* FilesWindow::addAction(const char* icon, const QString& text, const QKeySequence& shortcut)
{
    auto* bar = findChild<QToolBar*>();
    if (bar == nullptr) {
        bar = addToolBar(tr("Actions"));
        bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        bar->setMovable(false);
    }
    QAction* const action = bar->addAction(QIcon::fromTheme(QLatin1String(icon)), text);
    action->setShortcut(shortcut);
    return action;
}

void FilesWindow::showFolder(const QString& folder)
{
    const QString path = QDir(folder).absolutePath();
    if (!QFileInfo(path).isDir()) {
        m_status->setText(tr("%1 is no folder").arg(folder));
        return;
    }
    m_path->setText(path);
    m_view->setRootIndex(m_model->setRootPath(path));
    m_view->clearSelection();
    updateActions();
}

void FilesWindow::select(const QStringList& names)
{
    m_view->clearSelection();
    for (const QString& name : names)
        m_view->selectionModel()->select(m_model->index(QDir(m_path->text()).filePath(name)),
                                         QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

QStringList FilesWindow::selection() const
{
    QStringList paths;
    for (const QModelIndex& index : m_view->selectionModel()->selectedRows())
        paths.append(m_model->filePath(index));
    return paths;
}

QString FilesWindow::chosenFolder(const QString& caption)
{
    QString folder = m_path->text();
    return kel::FileUtils::openDirectoryDialog(folder, caption, QString(), this) ? folder
                                                                                 : QString();
}

//! [jobs]
void FilesWindow::copyTo(const QString& folder)
{
    kel::TransferOptions options;
    options.conflict = kel::ConflictPolicy::UniqueName; // so that undoing can't touch other files
    if (!folder.isEmpty())
        start(Kind::Copy, new kel::CopyJob(selection(), folder, options, this));
}

void FilesWindow::moveTo(const QString& folder)
{
    if (!folder.isEmpty())
        start(Kind::Move, new kel::MoveJob(selection(), folder, {}, this));
}

void FilesWindow::trash()
{
    start(Kind::Trash, new kel::TrashJob(selection(), this));
}
//! [jobs]

//! [undo]
/** By the places of a job's result, which tell of each entry where it was and where it is now. */
void FilesWindow::undo()
{
    if (m_job != nullptr || m_done.empty())
        return;
    const Done last = m_done.back();
    m_done.pop_back();
    QStringList targets;
    for (const kel::FileResult::Place& place : last.places)
        if (!place.target.isEmpty())
            targets.append(place.target);
    if (last.kind == Kind::Trash)
        restore(last.places);
    else if (last.kind == Kind::Copy)
        start(Kind::Undo, new kel::TrashJob(targets, this)); // with what has come into them since
    else // all of them came from one folder
        start(Kind::Undo,
              new kel::MoveJob(targets, QFileInfo(last.places.first().source).path(), {}, this));
}

void FilesWindow::restore(const QList<kel::FileResult::Place>& places)
{
    kel::FileResult result;
    for (const kel::FileResult::Place& place : places)
        try { // a rename for each, which takes no time
            kel::FileUtils::restoreFromTrash({place.target, place.source, {}});
            ++result.entries;
        } catch (const kel::FileException& exception) {
            result.failures.append(
                {place.source, kel::FileFailure::Rename, 0, exception.message()});
        }
    finish(Kind::Undo, result);
}
//! [undo]

//! [start]
void FilesWindow::start(Kind kind, kel::FileJob* job)
{
    m_job = job; // a child of the window: when that goes, the job is cancelled
    connect(job, &kel::FileJob::progressChanged, this, &FilesWindow::showProgress);
    connect(job, &kel::FileJob::finished, this, [this, kind, job](const kel::FileResult& result) {
        m_job = nullptr;
        job->deleteLater();
        finish(kind, result);
    });
    job->start();
    m_status->setText(tr("Looking…"));
    updateActions();
}
//! [start]

void FilesWindow::cancel()
{
    if (m_job != nullptr)
        m_job->cancel();
}

void FilesWindow::showProgress(const kel::FileProgress& progress)
{
    const bool known = progress.bytesTotal > 0; // a bar counts in int
    m_bar->setRange(0, known ? 1000 : 0);
    m_bar->setValue(known ? int(1000 * double(progress.bytesDone) / double(progress.bytesTotal))
                          : 0);
    m_status->setText(tr("%1 of %2, %3")
                          .arg(QLocale().formattedDataSize(progress.bytesDone),
                               QLocale().formattedDataSize(qMax(qint64(0), progress.bytesTotal)),
                               QFileInfo(progress.path).fileName()));
    Q_EMIT progressed();
}

void FilesWindow::finish(Kind kind, const kel::FileResult& result)
{
    if (kind != Kind::Undo && !result.places.isEmpty())
        m_done.push_back({kind, result.places});
    m_status->setText(inWords(result));
    m_status->setToolTip(m_status->text());
    updateActions();
    Q_EMIT ended(result.ok());
}

void FilesWindow::updateActions()
{
    const bool idle = m_job == nullptr;
    for (QAction* action : m_selectionActions)
        action->setEnabled(idle && m_view->selectionModel()->hasSelection());
    m_undo->setEnabled(idle && !m_done.empty());
    m_cancel->setEnabled(!idle);
    m_bar->setVisible(!idle);
    if (idle)
        m_bar->reset();
}
