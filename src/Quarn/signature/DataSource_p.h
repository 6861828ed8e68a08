#ifndef QUARN_SIGNATURE_DATASOURCE_P_H
#define QUARN_SIGNATURE_DATASOURCE_P_H

#include <Quarn/companion/TransferProgress.h>

#include <QByteArray>

#include <boost/shared_ptr.hpp>

#include <functional>

class QIODevice;

typedef struct evp_md_ctx_st EVP_MD_CTX;

namespace kel {
class IIOInterface;
class StrictFile;

/** \brief What a signature is made of or checked against, read in the caller's thread. */
struct DataSource
{
    /**
     * Puts up to so many bytes into the memory; 0 at the end and only there.
     *
     * \throw IOException when it can't be read to its end
     */
    std::function<int(char* data, int wanted)> read;
    qint64 size = -1; // -1 when only the end will tell
};

/**
 * \name Sources
 * They borrow what they read from; null can't be read.
 * @{
 */
DataSource sourceFrom(StrictFile& file);
DataSource sourceFrom(QIODevice* device);
DataSource sourceFrom(const boost::shared_ptr<IIOInterface>& stream);
/** @} */

/** Adds all of \a source to a digest, a signature or a check that \a context has begun. */
void digestAll(const DataSource& source, EVP_MD_CTX* context, const TransferProgress& progress);

/** All of \a source; SignatureException "Too much data for this scheme" beyond \a maxSize bytes. */
QByteArray allOf(const DataSource& source, qint64 maxSize, const TransferProgress& progress);

} // namespace kel
#endif
