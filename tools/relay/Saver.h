#ifndef RELAY_SAVER_H
#define RELAY_SAVER_H

#include "Consumer.h"

#include <Quarn/streams/SafeFile.h>

/** \brief Saves the input in a file that takes its place only when asked to. */
class Saver : public Consumer
{
    Q_OBJECT

public:
    /** Opens the new file beside \a path; throws kel::IOException when that cannot be. */
    Saver(const QString& path, const Channel& channel, const StopSwitch& stop);
    ~Saver() override;

    /** The file that must not stay behind when the process ends early. */
    QString temporaryPath() const;

    /** Puts what was saved in its place; throws kel::IOException when that cannot be. */
    void publish();

private:
    void consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader) override;
    void finish();
    [[noreturn]] void fail(const QString& reason) const;

    kel::SafeFile m_file;
};

#endif
