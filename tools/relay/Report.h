#ifndef RELAY_REPORT_H
#define RELAY_REPORT_H

#include <QStringList>

#include <vector>

/** \brief The table of what the consumers did, with aligned columns. */
class Report
{
public:
    Report();

    void addRow(const QString& consumer, qint64 bytes, double seconds, const QString& result);

    /** The table, and \a verdict below it. */
    QString text(const QString& verdict) const;

private:
    std::vector<QStringList> m_rows; // the headings first
};

#endif
