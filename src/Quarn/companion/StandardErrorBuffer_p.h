#ifndef QUARN_COMPANION_STANDARDERRORBUFFER_P_H
#define QUARN_COMPANION_STANDARDERRORBUFFER_P_H

#include <streambuf>
#include <string>

namespace kel {

/**
 * A wide stream buffer that ends in narrow standard error, in the locale's encoding.
 *
 * std::wcerr won't do: its first character turns stderr wide for good, and every narrow message
 * after it, those of Qt and of the program included, is lost.
 */
class StandardErrorBuffer : public std::wstreambuf
{
protected:
    int_type overflow(int_type character) override;
    int sync() override;

private:
    std::wstring m_pending;
};

} // namespace kel
#endif
