#include "InboxWindow.h"

#include <Quarn/fileutils/FileUtils.h>
#include <Quarn/multiuser/MultiUserSpoolReader.h>

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>

namespace {

constexpr int longestLine = 4096; // longer ones are broken
constexpr int linesAtOnce = 500; // so that the window stays alive, however fast they come

QString inWords(qint64 bytes)
{
    return QLocale().formattedDataSize(bytes);
}

} // namespace

InboxWindow::InboxWindow(Delivery& delivery)
    : m_delivery(delivery), m_reader(delivery.createReader()), m_badge(new QLabel),
      m_text(new QPlainTextEdit), m_bar(new QProgressBar), m_status(new QLabel),
      m_cancel(new QPushButton(tr("Cancel"))), m_save(new QPushButton(tr("Save as…"))),
      m_show(new QPushButton(tr("Show in Folder")))
{
    auto* const all = new QVBoxLayout(this);
    all->addWidget(createHeader());
    all->addWidget(m_text, 1);
    all->addWidget(createFooter());
    m_text->setReadOnly(true);
    m_text->setUndoRedoEnabled(false);
    m_text->setMaximumBlockCount(10'000);
    m_text->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setWindowTitle(tr("Inbox"));
    resize(560, 320);
    showBadge(tr("pending"), "color: #5c4700; background: #ffe9a8");

    m_next.setSingleShot(true); // one for all that comes meanwhile
    connect(&m_next, &QTimer::timeout, this, &InboxWindow::showNext);
    connect(m_reader.get(), &QIODevice::readyRead, this, [this] { m_next.start(); });
    connect(m_reader.get(), &QIODevice::readChannelFinished, this, [this] {
        m_allCame = true;
        m_next.start();
    });
    connect(&m_delivery, &Delivery::verified, this, &InboxWindow::showVerdict);
    connect(&m_delivery, &Delivery::saved, this, &InboxWindow::showSaved);
}

InboxWindow::~InboxWindow() = default;

QWidget* InboxWindow::createHeader()
{
    auto* const name = new QLabel(m_delivery.announcement().name);
    name->setTextFormat(Qt::PlainText); // it comes from outside
    QFont font = name->font();
    font.setBold(true);
    name->setFont(font);
    auto* const header = new QWidget;
    auto* const row = new QHBoxLayout(header);
    row->setContentsMargins({});
    row->addWidget(name, 1);
    row->addWidget(m_badge);
    return header;
}

QWidget* InboxWindow::createFooter()
{
    m_status->setTextFormat(Qt::PlainText);
    m_status->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // a path may be long
    m_bar->setRange(0, 1000);
    m_save->setEnabled(false);
    m_show->setEnabled(false);
    connect(m_cancel, &QPushButton::clicked, &m_delivery, &Delivery::cancel);
    connect(m_save, &QPushButton::clicked, this, &InboxWindow::saveAs);
    connect(m_show, &QPushButton::clicked, this, [this] {
        const QFileInfo file(m_path);
        kel::FileUtils::showDesktopWindow(file.path(), file.fileName());
    });
    auto* const footer = new QWidget;
    auto* const rows = new QVBoxLayout(footer);
    rows->setContentsMargins({});
    rows->addWidget(m_bar);
    rows->addWidget(m_status);
    auto* const buttons = new QHBoxLayout;
    buttons->addWidget(m_show);
    buttons->addStretch();
    buttons->addWidget(m_save);
    buttons->addWidget(m_cancel);
    rows->addLayout(buttons);
    return footer;
}

//! [show]
/** Shows the next whole lines, and comes back for those behind them. */
void InboxWindow::showNext()
{
    const auto lineIsThere = [this] {
        return m_reader->canReadLine() || m_reader->bytesAvailable() >= longestLine
               || (m_allCame && m_reader->bytesAvailable() > 0);
    };
    QStringList lines;
    while (lines.size() < linesAtOnce && lineIsThere()) {
        QByteArray line = m_reader->readLine(longestLine);
        if (line.endsWith('\n'))
            line.chop(1);
        lines.append(QString::fromUtf8(line));
    }
    if (!lines.isEmpty())
        m_text->appendPlainText(lines.join(QLatin1Char('\n')));
    const qint64 size = m_delivery.announcement().size;
    m_bar->setValue(size > 0 ? int(1000.0 * double(m_reader->size()) / double(size)) : 1000);
    if (!m_verdict)
        m_status->setText(tr("%1 of %2").arg(inWords(m_reader->size()), inWords(size)));
    if (lines.size() == linesAtOnce)
        m_next.start();
    else if (m_allCame)
        m_allShown = true;
    tellComplete();
}
//! [show]

void InboxWindow::showBadge(const QString& text, const char* colours)
{
    m_badge->setText(text);
    m_badge->setStyleSheet(
        QStringLiteral("%1; border-radius: 4px; padding: 3px 10px").arg(QLatin1String(colours)));
}

void InboxWindow::showVerdict(Delivery::Verdict verdict, const QString& reason)
{
    m_verdict = verdict;
    m_cancel->setEnabled(false);
    m_save->setEnabled(verdict == Delivery::Verdict::Genuine);
    if (verdict == Delivery::Verdict::Genuine) {
        showBadge(tr("genuine"), "color: white; background: #1b7f3b");
        m_status->setText(tr("It is from the sender and as it was sent."));
    } else if (verdict == Delivery::Verdict::Damaged) {
        showBadge(tr("damaged"), "color: white; background: #b3261e");
        m_status->setText(tr("The signature doesn't match: don't rely on it."));
    } else {
        showBadge(tr("incomplete"), "color: white; background: #5f6368");
        m_status->setText(reason);
    }
    tellComplete();
}

void InboxWindow::tellComplete()
{
    if (m_allShown && m_verdict)
        Q_EMIT complete(*m_verdict);
}

bool InboxWindow::savingAllowed() const
{
    return m_save->isEnabled();
}

//! [save]
QString InboxWindow::freeName(const QDir& folder) const
{
    QString name = m_delivery.announcement().name; // comes from outside
    name.remove(QLatin1Char('%')); // with a letter behind it would be the date
    if (!kel::FileUtils::isSafeFileName(name))
        name = tr("Message.txt");
    return kel::FileUtils::uniqueFileName(folder, name, " (%d)", true);
}

void InboxWindow::saveAs()
{
    QString folder = kel::FileUtils::userDocumentsDir().absolutePath();
    QString name = freeName(QDir(folder));
    if (kel::FileUtils::saveFileDialog(folder, name, tr("Save as"), QString(), this))
        m_delivery.save(QDir(folder).filePath(name)); // in the background
}
//! [save]

void InboxWindow::saveIn(const QDir& folder)
{
    m_delivery.save(folder.filePath(freeName(folder)));
}

void InboxWindow::showSaved(const QString& path, const QString& failure)
{
    if (failure.isEmpty())
        m_path = path;
    m_show->setEnabled(!m_path.isEmpty());
    m_status->setText(failure.isEmpty() ? tr("Saved as %1").arg(path) : failure);
    m_status->setToolTip(m_status->text());
    Q_EMIT saved(path, failure);
}
