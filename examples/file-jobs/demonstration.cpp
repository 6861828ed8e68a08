#include "demonstration.h"

#include "FilesWindow.h"

#include <QCoreApplication>
#include <QDir>
#include <QPixmap>

#include <memory>

namespace {

enum class Step { Loading, Copying, RemovingCopies, Trashing, Restoring };

struct State
{
    Step step = Step::Loading;
    QStringList entries;
    QStringList copies; // what is in the other folder
    bool pictured = false;
};

} // namespace

void demonstrate(FilesWindow& window, const QString& folder, const QString& picture)
{
    const auto state = std::make_shared<State>();
    const QDir other(QDir(folder).absolutePath() + QStringLiteral(" copies"));
    const auto grab = [&window, state, picture] {
        if (!state->pictured)
            state->pictured = window.grab().save(picture);
    };
    const auto names
        = [](const QDir& dir) { return dir.entryList(QDir::AllEntries | QDir::NoDotAndDotDot); };
    QObject::connect(&window, &FilesWindow::folderLoaded, [=, &window] {
        if (state->step != Step::Loading)
            return;
        state->step = Step::Copying;
        state->entries = names(QDir(folder));
        other.mkpath(QStringLiteral("."));
        window.select(state->entries);
        window.copyTo(other.path());
    });
    QObject::connect(&window, &FilesWindow::progressed, grab);
    QObject::connect(&window, &FilesWindow::ended, [=, &window](bool ok) {
        grab(); // there is no progress in work that takes no time
        const QStringList here = names(QDir(folder));
        switch (state->step) {
        case Step::Copying:
            ok = ok && names(other) == state->entries;
            state->step = Step::RemovingCopies;
            window.undo();
            break;
        case Step::RemovingCopies:
            ok = ok && names(other).isEmpty();
            other.rmdir(other.path());
            state->step = Step::Trashing;
            window.select(state->entries);
            window.trash();
            break;
        case Step::Trashing:
            ok = ok && here.isEmpty();
            state->step = Step::Restoring;
            window.undo();
            break;
        default:
            QCoreApplication::exit(ok && here == state->entries && state->pictured ? 0 : 1);
        }
        if (!ok)
            QCoreApplication::exit(1);
    });
}
