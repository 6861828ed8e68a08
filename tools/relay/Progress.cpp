#include "Progress.h"

#include "Console.h"
#include "platform/StandardStreams.h"

#include <QStringList>

#include <algorithm>
#include <cerrno>
#include <cmath>

namespace {

constexpr qint64 rateMsecs = 5000; // the rate is that of so long
constexpr int shortestBar = 10;
constexpr int longestBar = 60;
const QString gap = QStringLiteral("  ");

QString megabytes(double bytes)
{
    return QString::number(bytes / 1e6, 'f', 1);
}

QString timeText(double seconds)
{
    const auto whole = qint64(std::min(std::ceil(seconds), 359999.0));
    const auto twoDigits
        = [](qint64 number) { return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0')); };
    return QStringLiteral("%1:%2:%3")
        .arg(whole / 3600)
        .arg(twoDigits(whole / 60 % 60), twoDigits(whole % 60));
}

/** " 52%  34.5 of 66.2 MB  120.3 MB/s  0:00:12 left  8.4 MB on disk" in parts, as far as known. */
QStringList figures(qint64 done, qint64 total, qint64 spilled, double bytesPerSecond)
{
    QStringList parts;
    if (total > 0)
        parts
            << QStringLiteral("%1%").arg(done * 100 / total, 3)
            << QStringLiteral("%1 of %2 MB").arg(megabytes(double(done)), megabytes(double(total)));
    else
        parts << QStringLiteral("%1 MB").arg(megabytes(double(done)));
    parts << QStringLiteral("%1 MB/s").arg(megabytes(bytesPerSecond));
    if (total > 0 && bytesPerSecond > 0)
        parts << QStringLiteral("%1 left").arg(timeText(double(total - done) / bytesPerSecond));
    if (spilled > 0)
        parts << QStringLiteral("%1 MB on disk").arg(megabytes(double(spilled)));
    return parts;
}

/** As many \a parts, the first ones, as \a columns hold, with a bar before them where there is room. */
QString fitted(QStringList parts, qint64 done, qint64 total, int columns)
{
    QString text = parts.join(gap);
    for (; text.size() > columns && parts.size() > 1; text = parts.join(gap))
        parts.removeLast();
    const int width = std::min(columns - int(text.size()) - 3, longestBar);
    if (total <= 0 || width < shortestBar)
        return text.left(columns);
    const int filled = int(double(done) / double(total) * width);
    return QStringLiteral("[%1%2] %3")
        .arg(QString(filled, QLatin1Char('#')), QString(width - filled, QLatin1Char('-')), text);
}

} // namespace

Progress::Progress() : m_terminal(StandardStreams::errorIsTerminal()), m_drawn(false)
{
    m_clock.start();
    m_samples.push_back({0, 0});
}

int Progress::intervalMsecs() const
{
    return m_terminal ? 200 : 2000;
}

bool Progress::show(qint64 done, qint64 total, qint64 spilled)
{
    addSample(done);
    done = total > 0 ? std::min(done, total) : done; // a file may grow after it was measured
    if (!StandardStreams::errorIsReady())
        return true;
    const QStringList parts = figures(done, total, spilled, bytesPerSecond());
    m_drawn = m_terminal;
    // The last column stays free: some terminals wrap as soon as it is written.
    const bool written = Console::printError(
        m_terminal ? QStringLiteral("\r%1\x1b[K")
                         .arg(fitted(parts, done, total, StandardStreams::terminalWidth() - 1))
                   : parts.join(gap).trimmed() + QLatin1Char('\n'));
    return written || errno != EPIPE;
}

void Progress::clear()
{
    if (m_drawn)
        Console::printError(QStringLiteral("\r\x1b[K"));
    m_drawn = false;
}

void Progress::addSample(qint64 done)
{
    m_samples.push_back({m_clock.elapsed(), done});
    while (m_samples.size() > 2 && m_samples.front().msecs < m_clock.elapsed() - rateMsecs)
        m_samples.pop_front();
}

double Progress::bytesPerSecond() const
{
    const qint64 msecs = m_samples.back().msecs - m_samples.front().msecs;
    const qint64 bytes = m_samples.back().bytes - m_samples.front().bytes;
    return msecs > 0 ? double(bytes) * 1000 / double(msecs) : 0;
}
