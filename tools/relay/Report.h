#ifndef RELAY_REPORT_H
#define RELAY_REPORT_H

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

#include <vector>

/** \brief What the consumers did: for people a table with aligned columns, for programs JSON. */
class Report
{
public:
    Report();

    void addRow(const QString& consumer, qint64 bytes, double seconds, const QString& result,
                const QJsonObject& details);

    /** The table, and \a verdict below it. */
    QString text(const QString& verdict) const;

    /** One line: \a whole, and the consumers in it. */
    QByteArray json(QJsonObject whole) const;

private:
    std::vector<QStringList> m_rows; // the headings first
    QJsonArray m_consumers;
};

#endif
