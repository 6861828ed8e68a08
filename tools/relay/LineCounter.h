#ifndef RELAY_LINECOUNTER_H
#define RELAY_LINECOUNTER_H

#include "Consumer.h"

/** \brief Counts line feeds, reading line by line. */
class LineCounter : public Consumer
{
    Q_OBJECT

public:
    using Consumer::Consumer;

    QString result() const override;
    QJsonObject details() const override;

private:
    void consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader) override;

    qint64 m_lines = 0;
};

#endif
