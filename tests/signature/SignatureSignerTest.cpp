#include "signature/outcome.h"
#include "support/ResourceLimit.h"
#include "support/TemporaryFolder.h"
#include "support/testBytes.h"

#include <Quarn/signature/SignatureSigner.h>
#include <Quarn/signature/SignatureVerifier.h>

#include <QDir>
#include <QFile>

#include <openssl/crypto.h>

#if QUARN_HAS_POSIX
#include <malloc.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#endif

#include <cstdlib>
#include <vector>

using namespace kel;

namespace {

using Scheme = SignatureScheme;

// One key of each kind, unencrypted and encrypted in all ways that are about.
constexpr char fixtures[] = R"(
openssl rand -hex 20 | tr -d '\n' >passphrase
pass="-passout file:passphrase"
openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out rsa.pkcs8
openssl genpkey -algorithm ED25519 -out ed.pkcs8
openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-521 -out ec.pkcs8
openssl genpkey -algorithm X25519 -out other.pkcs8
for key in rsa ed ec; do
    openssl pkcs8 -topk8 -in $key.pkcs8 -scrypt $pass -out $key.scrypt
    openssl pkcs8 -topk8 -in $key.pkcs8 -v2 aes-128-cbc $pass -out $key.pbkdf2
done
openssl rsa -in rsa.pkcs8 -traditional -out rsa.traditional
openssl ec -in ec.pkcs8 -out ec.traditional
(openssl ecparam -name secp521r1; cat ec.traditional) >ec.parameters
openssl rsa -in rsa.pkcs8 -traditional -aes256 $pass -out rsa.dek
openssl ec -in ec.pkcs8 -aes128 $pass -out ec.dek
(openssl pkey -in ed.pkcs8 -pubout; cat ed.pkcs8) | sed s/$/\\r/ >ed.both)";

// The private numbers of a key in lines of hexadecimal digits.
constexpr char numbersOf[] = R"(
for key in rsa.pkcs8 ed.pkcs8 ec.pkcs8 made.pem; do
    openssl pkey -in $key -passin file:passphrase -noout -text
done | awk '/^ / { if (secret) { gsub(/[ :]/, ""); printf "%s", $0 } next }
            { print ""; secret = /^pri/ }' >numbers)";

/** A file with a private key. */
struct Form
{
    const char* file;

    Scheme scheme() const
    {
        return file[0] == 'r'   ? Scheme::RsaPssSha256
               : file[1] == 'c' ? Scheme::EcdsaSha512
                                : Scheme::Ed25519;
    }
    bool isEncrypted() const
    {
        const QByteArray how = strchr(file, '.');
        return how == ".dek" || how == ".pbkdf2" || how == ".scrypt";
    }
};

constexpr Form forms[]
    = {{"rsa.pkcs8"}, {"rsa.traditional"}, {"rsa.dek"},       {"rsa.pbkdf2"}, {"rsa.scrypt"},
       {"ec.pkcs8"},  {"ec.traditional"},  {"ec.parameters"}, {"ec.dek"},     {"ec.pbkdf2"},
       {"ec.scrypt"}, {"ed.pkcs8"},        {"ed.both"},       {"ed.pbkdf2"},  {"ed.scrypt"}};

#if QUARN_HAS_POSIX
/** While it is on, nothing that OpenSSL gives back is used again: what is in it stays there. */
bool hoarding = false;
std::vector<void*> hoard;

void giveBack(void* memory)
{
    if (hoarding && memory)
        hoard.push_back(memory);
    else
        std::free(memory);
}

// Before OpenSSL allocates anything.
const int allocationsReplaced
    = CRYPTO_set_mem_functions([](size_t size, const char*, int) { return std::malloc(size); },
                               [](void* old, size_t size, const char*, int) {
                                   void* const memory = std::malloc(size);
                                   if (old)
                                       memcpy(memory, old, std::min(size, malloc_usable_size(old)));
                                   giveBack(old);
                                   return memory;
                               },
                               [](void* memory, const char*, int) { giveBack(memory); });

/** Writes all memory of this process that may be written to a file, without a copy of it. */
void saveMemory(const QString& path)
{
    const int file = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT, 0600);
    FILE* const maps = std::fopen("/proc/self/maps", "r");
    char line[600], mode[5];
    unsigned long begin, end;
    while (std::fgets(line, sizeof line, maps))
        if (std::sscanf(line, "%lx-%lx %4s", &begin, &end, mode) == 3 && mode[0] == 'r'
            && mode[1] == 'w' && end - begin < (1ul << 30))
            (void)!::syscall(SYS_write, file, begin, end - begin); // unseen by sanitizers
    std::fclose(maps);
    ::close(file);
}
#endif

QByteArray loaded(const QByteArray& pem, QByteArray word, Scheme scheme)
{
    return outcome([&] { return SignatureSigner::fromPem(pem, std::move(word), scheme), true; });
}

} // namespace

class SignatureSignerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QCOMPARE(shellErrors(m_folder.path(), fixtures), QByteArray()); }
    void init() { ForeignError(); }
    void cleanup() { QVERIFY(ForeignError::isAlone()); }

    void leavesNoSecrets()
    {
#if !QUARN_HAS_POSIX
        QSKIP("A program cannot search its memory here", );
#else
        QVERIFY(allocationsReplaced == 1);
        hoarding = true;
        for (const Form& form : forms) {
            const auto signer = SignatureSigner::fromPemFile(
                m_folder.at(form.file), form.isEncrypted() ? passphrase() : QByteArray(),
                form.scheme());
            QVERIFY(!signer.sign("data").isEmpty());
            QVERIFY(!signer.toPem(passphrase()).isEmpty());
        }
        m_folder.write("made.pem",
                       SignatureSigner::generate(Scheme::EcdsaSha384).toPem(passphrase()));
        loaded(read("rsa.scrypt"), passphrase(), Scheme::Ed25519);
        saveMemory(m_folder.at("memory"));
        hoarding = false;
        std::for_each(hoard.begin(), hoard.end(), std::free);

        QCOMPARE(shellErrors(m_folder.path(), numbersOf), QByteArray());
        QByteArrayList needles{passphrase()};
        for (const QByteArray& line : read("numbers").split('\n')) {
            const QByteArray bytes = QByteArray::fromHex(line);
            if (bytes.size() < 30)
                continue;
            needles << bytes.mid(6, 20) << bytes.mid(6, 20);
            std::reverse(needles.last().begin(), needles.last().end());
        }
        for (const char* const name : {"rsa.pkcs8", "ed.pkcs8", "ec.pkcs8", "rsa.traditional"}) {
            const QByteArrayList lines = read(name).split('\n');
            needles << lines.at(lines.size() / 2 - 1).mid(20, 20);
        }
        const QByteArray memory = read("memory");
        QVERIFY2(needles.size() > 15, QByteArray::number(needles.size()));
        for (const QByteArray& needle : needles)
            QVERIFY2(needle.size() > 10 && !memory.contains(needle), needle.toHex());
#endif
    }

    void readsAllForms()
    {
        const QByteArray refusal = "Invalid private key";
        for (const Form& form : forms) {
            const QByteArray pem = read(form.file);
            const auto signer = SignatureSigner::fromPem(
                pem, form.isEncrypted() ? passphrase() : QByteArray(), form.scheme());
            const SignatureVerifier check(signer.publicKey(), form.scheme());
            QVERIFY2(check.verify("data", signer.sign("data")), form.file);
            for (const char* const wrong : {"wrong", ""})
                QVERIFY2(!form.isEncrypted() || loaded(pem, wrong, form.scheme()) == refusal,
                         form.file);
        }
        QCOMPARE(loaded(read("other.pkcs8"), {}, Scheme::Ed25519), refusal);
        QCOMPARE(loaded(read("ec.dek"), passphrase(), Scheme::Ed25519),
                 QByteArray("Key does not fit the scheme"));
    }

    void refusesDamage()
    {
        for (const Form& form : forms) {
            const QByteArray pem = read(form.file);
            const bool slow = QByteArray(form.file).endsWith("scrypt");
            for (int at = 30; at < pem.size(); at += slow ? 400 : 31) {
                QByteArray changed = pem;
                changed[at] = pem.at(at) == 'A' ? 'B' : 'A';
                for (const QByteArray& bad : {changed, pem.left(at)}) {
                    const QByteArray result = loaded(bad, passphrase(), form.scheme());
                    // A change may fall on an Ed25519 key, where any will do, or on what is ignored,
                    // as the last line's end is.
                    QVERIFY2(result == "Invalid private key" || result == "Key too weak"
                                 || (result == "true" && bad.size() >= pem.size() - 2),
                             result + ' ' + bad);
                }
            }
        }
    }

    void asksNobody()
    {
#if !QUARN_HAS_POSIX
        QSKIP("There are no terminals of this kind here", );
#else
        const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
        QVERIFY(::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
        const pid_t child = ::fork();
        if (child == 0) {
            ::setsid();
            ::alarm(60);
            const int input = ::open(::ptsname(terminal), O_RDWR); // controls us from now on
            ::dup2(input, STDIN_FILENO);
            for (const Form& form : forms)
                if (form.isEncrypted()) {
                    const QByteArray pem = read(form.file);
                    loaded(pem, {}, form.scheme());
                    outcome([&] { return PublicKey::fromPem(pem).isNull(); });
                }
            ::_exit(0);
        }
        int status = -1;
        QVERIFY(::waitpid(child, &status, 0) == child && status == 0);
        char prompt;
        QVERIFY(::read(terminal, &prompt, 1) <= 0);
        ::close(terminal);
#endif
    }

    void savesKeys()
    {
        for (const Scheme scheme :
             {Scheme::RsaPkcs1Sha256, Scheme::EcdsaSha256, Scheme::EcdsaSha512, Scheme::Ed25519}) {
            const auto signer = SignatureSigner::generate(scheme);
            const QByteArray pem = signer.toPem(passphrase());
            const QByteArray fingerprint = signer.publicKey().fingerprint();
            const auto again = SignatureSigner::fromPem(pem, passphrase(), scheme);
            QCOMPARE(again.publicKey().fingerprint(), fingerprint);
            m_folder.write("saved.pem", pem);
            QCOMPARE(shellErrors(m_folder.path(),
                                 "openssl asn1parse -in saved.pem | grep -q scrypt\n"
                                 "openssl pkey -in saved.pem -passin file:passphrase -pubout "
                                 "-outform DER | openssl dgst -sha256 -binary >print"),
                     QByteArray());
            QCOMPARE(read("print"), fingerprint);
            const QByteArray publicPem = signer.publicKey().toPem();
            QCOMPARE(PublicKey::fromPem(publicPem).fingerprint(), fingerprint);
            QCOMPARE(outcome([&] { return signer.toPem(QByteArray()).isEmpty(); }),
                     QByteArray("Passphrase expected"));
        }
    }

    void writesSignaturesWholeOrNotAtAll()
    {
        const auto signer = SignatureSigner::generate(Scheme::Ed25519);
        const QByteArray data = testBytes(100000);
        m_folder.write("data", data);
        m_folder.write("old.sig", "old");
        QVERIFY(!hasPosix || QFile::link(m_folder.at("data"), m_folder.at("link")));
        ::mkfifo(QFile::encodeName(m_folder.at("fifo")).constData(), 0600);
        const auto sign = [&](const char* name, const TransferProgress& progress = {}) {
            return outcome([&] {
                return signer.signFile(m_folder.at("data"), m_folder.at(name), progress), true;
            });
        };
        for (const char* const name : {"data", "link", "fifo", ".", "missing/sig"})
            if (hasPosix || (name != QByteArray("link") && name != QByteArray("fifo")))
                QCOMPARE(sign(name), "IO: Could not write " + m_folder.at(name).toLocal8Bit());
        QCOMPARE(sign("old.sig", [](qint64, qint64) { return false; }), QByteArray("Cancelled"));
        if (hasPosix) {
            const ResourceLimit full(ResourceLimit::FileSize, 10);
            QCOMPARE(sign("old.sig"),
                     "IO: Could not write " + m_folder.at("old.sig").toLocal8Bit());
        }
        QVERIFY(read("data") == data && read("old.sig") == "old");
        QCOMPARE(QDir(m_folder.path()).entryList({QStringLiteral("*.sig*")}).size(), 1);
        QCOMPARE(sign("old.sig"), QByteArray("true"));
        QCOMPARE(read("old.sig"), signer.sign(data));
    }

private:
    QByteArray read(const char* name) const
    {
        return m_folder.contents(name);
    }
    /** With no other owner and no copy, for the one that gets it to wipe. */
    QByteArray passphrase() const
    {
        QFile file(m_folder.at("passphrase"));
        QByteArray word(40, '\0');
        return file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)
                       && file.read(word.data(), word.size()) == word.size()
                   ? word
                   : QByteArray();
    }

    TemporaryFolder m_folder;
};

QTEST_GUILESS_MAIN(SignatureSignerTest)
#include "SignatureSignerTest.moc"
