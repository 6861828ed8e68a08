#include "Report.h"

#include <QJsonDocument>

#include <algorithm>

Report::Report()
{
    m_rows.push_back({QStringLiteral("consumer"), QStringLiteral("bytes"),
                      QStringLiteral("seconds"), QStringLiteral("MB/s"), QStringLiteral("result")});
}

void Report::addRow(const QString& consumer, qint64 bytes, double seconds, const QString& result,
                    const QJsonObject& details)
{
    const double rate = seconds > 0 ? double(bytes) / seconds / 1e6 : 0;
    m_rows.push_back({consumer, QString::number(bytes), QString::number(seconds, 'f', 3),
                      QString::number(rate, 'f', 1), result});
    QJsonObject object = details;
    object.insert(QStringLiteral("name"), consumer);
    object.insert(QStringLiteral("bytes"), bytes);
    object.insert(QStringLiteral("seconds"), seconds);
    object.insert(QStringLiteral("result"), result);
    m_consumers.append(object);
}

QString Report::text(const QString& verdict) const
{
    const auto width = [this](int column) {
        const auto shorter = [column](const QStringList& one, const QStringList& other) {
            return one.at(column).size() < other.at(column).size();
        };
        return int(std::max_element(m_rows.begin(), m_rows.end(), shorter)->at(column).size());
    };
    const QString gap = QStringLiteral("  ");
    QString text;
    for (const QStringList& row : m_rows)
        text += row.at(0).leftJustified(width(0)) + gap + row.at(1).rightJustified(width(1)) + gap
                + row.at(2).rightJustified(width(2)) + gap + row.at(3).rightJustified(width(3))
                + gap + row.at(4) + QLatin1Char('\n');
    return text + QStringLiteral("verdict: ") + verdict + QLatin1Char('\n');
}

QByteArray Report::json(QJsonObject whole) const
{
    whole.insert(QStringLiteral("consumers"), m_consumers);
    return QJsonDocument(whole).toJson(QJsonDocument::Compact) + '\n';
}
