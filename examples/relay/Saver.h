#ifndef RELAY_SAVER_H
#define RELAY_SAVER_H

#include "AtomicFile.h"
#include "Consumer.h"

/** \brief Saves the input in a file that takes its place only when asked to. */
class Saver : public Consumer
{
    Q_OBJECT

public:
    /** Opens the new file beside \a path; throws kel::IOException when that cannot be. */
    Saver(const QString& path, const Channel& channel, const StopSwitch& stop);
    ~Saver() override;

    AtomicFile& file();

private:
    void consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader) override;

    AtomicFile m_file;
};

#endif
