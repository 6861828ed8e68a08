#ifndef RELAY_PLAINREADER_H
#define RELAY_PLAINREADER_H

#include "Consumer.h"

/** \brief Reads in blocks and keeps nothing; tells how much was there when it joined. */
class PlainReader : public Consumer
{
    Q_OBJECT

public:
    using Consumer::Consumer;

    QString result() const override;
    QJsonObject details() const override;

private:
    void consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader) override;

    qint64 m_joinedAt = 0;
};

#endif
