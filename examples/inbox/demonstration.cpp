#include "demonstration.h"

#include "InboxWindow.h"

#include <QCoreApplication>
#include <QDir>
#include <QPixmap>
#include <QTimer>

void demonstrate(InboxWindow& window, Delivery::Verdict expected, const QString& folder,
                 const QString& picture)
{
    const auto end = [&window, picture](bool ok) {
        QTimer::singleShot(0, &window, [=, &window] { // when it has the places of what it shows now
            QCoreApplication::exit(window.grab().save(picture) && ok ? 0 : 1);
        });
    };
    QObject::connect(&window, &InboxWindow::complete, [=, &window](Delivery::Verdict verdict) {
        const bool genuine = verdict == Delivery::Verdict::Genuine;
        if (verdict != expected || window.savingAllowed() != genuine)
            end(false);
        else if (genuine)
            window.saveIn(QDir(folder));
        else
            end(true);
    });
    QObject::connect(&window, &InboxWindow::saved,
                     [end](const QString&, const QString& failure) { end(failure.isEmpty()); });
}
