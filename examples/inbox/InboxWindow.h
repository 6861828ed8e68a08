#ifndef INBOX_INBOXWINDOW_H
#define INBOX_INBOXWINDOW_H

#include "Delivery.h"

#include <QTimer>
#include <QWidget>

#include <memory>
#include <optional>

class QDir;
class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;

namespace kel {
class MultiUserSpoolReader;
} // namespace kel

/** Shows a delivery while it comes, and lets the user save it when it is genuine. */
class InboxWindow : public QWidget
{
    Q_OBJECT

public:
    /** Borrows \a delivery. */
    explicit InboxWindow(Delivery& delivery);
    ~InboxWindow() override;

    void saveAs();
    /** Saves it under its name, or one like it that isn't taken. */
    void saveIn(const QDir& folder);
    bool savingAllowed() const;

Q_SIGNALS:
    /** All that came is shown, and the verdict, too. */
    void complete(Delivery::Verdict verdict);
    void saved(const QString& path, const QString& failure);

private:
    QWidget* createHeader();
    QWidget* createFooter();
    QString freeName(const QDir& folder) const;
    void showNext();
    void showBadge(const QString& text, const char* colours);
    void showVerdict(Delivery::Verdict verdict, const QString& reason);
    void showSaved(const QString& path, const QString& failure);
    void tellComplete();

    Delivery& m_delivery;
    const std::unique_ptr<kel::MultiUserSpoolReader> m_reader;
    QLabel* m_badge;
    QPlainTextEdit* m_text;
    QProgressBar* m_bar;
    QLabel* m_status;
    QPushButton* m_cancel;
    QPushButton* m_save;
    QPushButton* m_show;
    QTimer m_next; // of the lines that are there
    QString m_path; // where it was saved
    std::optional<Delivery::Verdict> m_verdict; // none as long as it is pending
    bool m_allCame = false;
    bool m_allShown = false;
};

#endif
