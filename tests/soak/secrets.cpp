// Works with passwords and a passphrase, then waits to be searched for what is left of them; see
// scripts/core-image.sh, which computes the same words.

#include <Quarn/access/AccessTokenKeeper.h>
#include <Quarn/access/KelFileAccess.h>
#include <Quarn/signature/SignatureException.h>
#include <Quarn/signature/SignatureSigner.h>

#include <cstdio>

using namespace kel;

namespace {

constexpr int length = 40;

/** Made in place: the program holds no other copy. */
template <typename Text>
Text word(int number)
{
    Text text(length, typename Text::value_type());
    for (int i = 0; i < length; ++i)
        text[i] = typename Text::value_type('!' + (i * i * 7 + i * 3 + number * 11) % 90);
    return text;
}

} // namespace

int main(int argumentCount, char**)
{
    constexpr auto scheme = SignatureScheme::Ed25519;
    AccessTokenKeeper keeper;
    KelFileAccess file{QString()};
    for (int number = 0; number < 1000; ++number) {
        (void)keeper.getLoggedOnToken(L"scope", L"user", word<std::wstring>(number));
        auto password = word<std::u16string>(number);
        auto text = QString::fromRawData(reinterpret_cast<const QChar*>(password.data()), length);
        file.setUserAndPassword(QStringLiteral("user"), text);
        std::fill(password.begin(), password.end(), u' ');
    }
    const QByteArray pem = SignatureSigner::generate(scheme).toPem(word<QByteArray>(0));
    for (int number = 0; number < 50; ++number)
        try {
            (void)SignatureSigner::fromPem(pem, word<QByteArray>(number % 2), scheme);
        } catch (const SignatureException&) { }
    const auto planted = argumentCount > 1 ? word<std::wstring>(argumentCount) : std::wstring();
    std::puts("ready");
    std::fflush(stdout);
    return std::getchar() == int(planted.size());
}
