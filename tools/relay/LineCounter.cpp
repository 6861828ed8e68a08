#include "LineCounter.h"

#include <Quarn/interfaces/IRandomAccessIO.h>

#include <QIODevice>

QString LineCounter::result() const
{
    return m_lines == 1 ? QStringLiteral("1 line") : QStringLiteral("%1 lines").arg(m_lines);
}

QJsonObject LineCounter::details() const
{
    return {{QStringLiteral("lines"), m_lines}};
}

void LineCounter::consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader)
{
    auto& device = dynamic_cast<QIODevice&>(*reader);
    char piece[16 * 1024]; // a longer line comes in several pieces
    qint64 count = 0;
    while (!stopped() && (count = device.readLine(piece, sizeof piece)) > 0) {
        addBytes(count);
        if (piece[count - 1] == '\n')
            ++m_lines;
    }
}
