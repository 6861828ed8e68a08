#ifndef QUARN_SIGNATURE_PEMBLOCKS_P_H
#define QUARN_SIGNATURE_PEMBLOCKS_P_H

#include <QByteArray>

#include <exception>
#include <utility>

namespace kel {

/**
 * \brief The blocks of a PEM text, one after another.
 *
 * OpenSSL's own reader leaves pieces of private keys in the memory that it gives back; this one
 * decodes nothing but what it is asked for, and nothing of that stays here.
 */
class PemBlocks
{
public:
    /** A block without an end, or with contents that are none. */
    class Damaged : public std::exception
    { };

    /** Borrows \a text. */
    explicit PemBlocks(const QByteArray& text) : m_text(text) { }

    /**
     * Goes to the first or next block; false when there is none.
     *
     * \throw Damaged
     */
    bool next();

    /** Such as "PUBLIC KEY". */
    const QByteArray& label() const { return m_label; }

    bool isCertificate() const { return m_label == "CERTIFICATE" || m_label == "X509 CERTIFICATE"; }

    /** What stands in front of the contents of an encrypted traditional key; empty for others. */
    const QByteArray& header() const { return m_header; }

    /**
     * The decoded contents, never empty; with no other owner than the caller, who may wipe them.
     *
     * \throw Damaged
     */
    QByteArray contents() const;

private:
    using Size = decltype(QByteArray().size()); // not the same in Qt 5 and Qt 6

    void separateHeader();

    const QByteArray m_text;
    QByteArray m_label;
    QByteArray m_header;
    Size m_begin = 0; // of the block's contents, or of what is still to be searched
    Size m_end = 0;
};

/** What \a make makes of the first block that \a fits; null when there is none or it is damaged. */
template <typename Fits, typename Make>
auto fromFirstBlock(const QByteArray& pem, Fits fits, Make make)
    -> decltype(make(std::declval<const PemBlocks&>()))
{
    try {
        for (PemBlocks blocks(pem); blocks.next();)
            if (fits(blocks))
                return make(blocks);
    } catch (const PemBlocks::Damaged&) {
        // As if there were none.
    }
    return nullptr;
}

} // namespace kel
#endif
