#include "signature/outcome.h"
#include "support/FailingReads.h"
#include "support/TemporaryFolder.h"

#include <Quarn/signature/SignatureDigest.h>
#include <Quarn/signature/SignatureException.h>
#include <Quarn/streams/QRandomAccessIO.h>

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <boost/make_shared.hpp>

#include <functional>
#include <limits>

using namespace kel;

namespace {

const QByteArray data(10000, 'd');

constexpr char fixtures[] = R"(printf %10000s | tr ' ' d >data
: >none
echo no signature at all | tee garbage.sig | cat data - >changed
openssl genrsa -out rsa.key 2048
openssl dsaparam -genkey -noout -out dsa.key 1024
openssl ecparam -name prime256v1 -genkey -noout -out ec.key
for name in rsa dsa ec; do
    openssl pkey -pubout -in $name.key -out $name.pub
    openssl req -x509 -new -key $name.key -subj /CN=$name -out $name.crt
    openssl dgst -sha1 -sign $name.key -out $name.sig data
done
openssl dgst -sha1 -sign rsa.key -out none.sig none
openssl pkcs8 -topk8 -in ec.key -passout pass:secret -out pkcs8.enc
openssl ec -in ec.key -aes128 -passout pass:secret -out traditional.enc)";

/** A device and a stream that delivers so many bytes and then the result given. */
class Source : public QRandomAccessIO
{
public:
    Source(qint64 size, int atEnd) : m_left(size), m_atEnd(atEnd) { open(ReadOnly); }

    QList<int> asked;

private:
    qint64 readData(char* bytes, qint64 wanted) override
    {
        asked.append(int(wanted));
        const qint64 count = std::min(m_left, wanted);
        memset(bytes, 'd', size_t(count));
        m_left -= count;
        return count > 0 ? count : m_atEnd;
    }

    qint64 m_left;
    const int m_atEnd;
};

/** Such as "/CN=first/CN=second". */
QByteArray names(const SignatureDigest& digest)
{
    QByteArray names;
    char name[64];
    for (X509* const certificate : digest.certificateChain())
        names += X509_NAME_oneline(X509_get_subject_name(certificate), name, sizeof name);
    return names;
}

} // namespace

/** Works with keys, certificates and signatures that the openssl program makes. */
class SignatureDigestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QCOMPARE(shellErrors(m_folder.path(), fixtures), QByteArray()); }

    // Every test finds an entry of somebody else in OpenSSL's error queue, and leaves it alone.
    void init() { ForeignError(); }
    void cleanup() { QVERIFY(ForeignError::isAlone()); }

    void verifiesFiles()
    {
        const auto check = [this](const QByteArray& key, const char* file,
                                  const QByteArray& signature, const QByteArray& expected) {
            SignatureDigest digest = withKey(key);
            digest.digest("earlier data", 12);
            const QByteArray result
                = outcome([&] { return digest.verify1File(path(file), path(signature)); });
            QVERIFY2(result == expected,
                     (key + ' ' + file + ' ' + signature + ' ' + result).data());
        };
        for (const QByteArray name : {"rsa", "dsa", "ec"}) {
            check(name + ".pub", "data", name + ".sig", "true");
            check(name + ".crt", "data", name + ".sig", "true");
            check(name + ".pub", "changed", name + ".sig", "false");
            check(name + ".pub", "data", "garbage.sig", name == "rsa" ? "false" : "OpenSsl error");
        }
        check("rsa.pub", "missing", "none.sig", "true");
        check("rsa.pub", "missing", "rsa.sig", "false");
    }

    void verifiesOtherDigests()
    {
        const std::pair<QCryptographicHash::Algorithm, QByteArray> algorithms[]
            = {{QCryptographicHash::Sha224, "sha224"},
               {QCryptographicHash::Sha256, "sha256"},
               {QCryptographicHash::Sha384, "sha384"},
               {QCryptographicHash::Sha512, "sha512"},
               {QCryptographicHash::RealSha3_256, "sha3-256"}};
        SignatureDigest sha1 = withKey("rsa.pub"), assigned;
        for (const auto& [algorithm, name] : algorithms) {
            const QByteArray script
                = "openssl dgst -" + name + " -sign rsa.key -out other.sig data";
            QCOMPARE(shellErrors(m_folder.path(), script), QByteArray());
            SignatureDigest digest(algorithm);
            digest.setPublicKeyFile(path("rsa.pub"));
            SignatureDigest copy(digest), moved(std::move(copy)), movedInto;
            assigned = digest;
            movedInto = SignatureDigest(digest);
            for (SignatureDigest* const each : {&digest, &assigned, &moved, &movedInto})
                QVERIFY2(verifies(*each, "other.sig") && !verifies(*each), name);
            QVERIFY2(!verifies(sha1, "other.sig") && verifies(sha1), name);
        }
        QCOMPARE(outcome([] { return SignatureDigest(QCryptographicHash::Md5), true; }),
                 QByteArray("Could not initialize context"));
    }

    void verifiesInPieces()
    {
        SignatureDigest digest = withKey("rsa.pub");
        digest.setSignature(read("rsa.sig").constData(), int(read("rsa.sig").size()));
        QVERIFY(digest.digest(data.constData(), 3000) == 3000 && !digest.verify());
        QVERIFY(digest.digest(data.constData(), 7000) == 7000 && digest.verify());
        QVERIFY(outcome([&] { return digest.digest("x", -1); }) == "Digest update failed");
        SignatureDigest copy(digest), assigned;
        assigned = digest;
        for (SignatureDigest* const other : {&copy, &assigned})
            QVERIFY(!other->verify() && other->digestFile(path("data")) == 10000
                    && other->verify());
        QVERIFY(digest.verify());
    }

    void readsInChunks()
    {
        const auto check = [this](int size, int atEnd, int limit, const QList<int>& asked) {
            for (const bool overStream : {false, true}) {
                const auto source = boost::make_shared<Source>(size, atEnd);
                SignatureDigest digest = withKey("rsa.pub");
                digest.setSignatureFile(path("rsa.sig"));
                QCOMPARE(overStream ? digest.digest(source, limit)
                                    : digest.digest(source.get(), limit),
                         qint64(size));
                QCOMPARE(source->asked, asked);
                digest.digest(data.constData(), int(data.size()) - size);
                QVERIFY(digest.verify());
            }
        };
        check(10000, 1, 10000, {4096, 4096, 1808}); // up to the limit
        check(5000, 0, -1, {4096, 4096, 4096}); // up to the end
        check(4096, -1, 10000, {4096, 4096}); // up to a failure
        check(4096, 4097, 9000, {4096, 4096}); // up to a claim of more than asked for

        constexpr int most = std::numeric_limits<int>::max();
        SignatureDigest digest;
        Source device(most + qint64(5000), 0);
        QCOMPARE(digest.digest(&device, -1), most);
        QCOMPARE(digest.digest(&device, -1), 5000);
    }

    void reportsMissingItems()
    {
        SignatureDigest digest;
        QVERIFY(outcome([&] { return digest.verify(); }) == "Public key expected");
        digest.setPublicKeyFile(path("rsa.pub"));
        QVERIFY(outcome([&] { return digest.verify(); }) == "Empty Signature");
        digest.setSignatureFile(path("none.sig"));
        for (const QString& name : {path("missing %1"), path("none"), path(".")}) {
            const QByteArray message = "IO: Could not read " + name.toLocal8Bit();
            QCOMPARE(outcome([&] { return digest.setSignatureFile(name), true; }), message);
            QCOMPARE(outcome([&] { return digest.setPublicKeyFile(name), true; }), message);
            QVERIFY(digest.verify());
        }
        QVERIFY(outcome([&] { return verifies(digest, "missing"); }).startsWith("IO: Could not"));
        QVERIFY(!digest.hasSignature() && digest.hasPublicKey());
    }

    void refusesWithoutSha1()
    {
        if (!hasPosix)
            QSKIP("The library has a libcrypto of its own here", );
        SignatureDigest digest = withKey("rsa.crt"), assigned;
        digest.setSignatureFile(path("rsa.sig"));
        QVERIFY(EVP_set_default_properties(nullptr, "provider=none"));
        const QByteArray results = outcome([] { return SignatureDigest(), true; })
                                   + outcome([&] { return SignatureDigest(digest), true; })
                                   + outcome([&] { return assigned = digest, true; })
                                   + outcome([&] { return digest.reset(), true; });
        QVERIFY(EVP_set_default_properties(nullptr, ""));
        QCOMPARE(results, QByteArray("Could not initialize context").repeated(4));
        QVERIFY(!assigned.hasPublicKey() && assigned.certificateChain().isEmpty());
        QVERIFY(outcome([&] { return digest.digest("x", 1); }) == "Digest update failed");
        QVERIFY(outcome([&] { return digest.verify(); }) == "OpenSsl error");
        QVERIFY(verifies(digest));
    }

    void readsPem()
    {
        const QByteArray key = read("rsa.pub"), rsa = read("rsa.crt"), ec = read("ec.crt");
        const QByteArray pkcs8 = read("pkcs8.enc"), traditional = read("traditional.enc");
        const QByteArray begin = key.left(key.indexOf('\n') + 1);
        const QByteArray unknown = QByteArray(key).replace("w0BAQEF", "w0BAWMF"); // algorithm
        const QByteArray locked = begin + "Proc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC,"
                                  + QByteArray(32, '0') + "\n\n" + key.mid(begin.size());
        // Without a certificate in their place the former ones remain.
        const auto check = [this](const char* name, const QByteArray& pem, const char* chain,
                                  bool found = true) {
            SignatureDigest digest = withKey("ec.crt");
            const QByteArray longer = pem + read("dsa.pub");
            const QByteArray result = outcome(
                [&] { return digest.setPublicKey(longer.constData(), int(pem.size())), true; });
            QVERIFY2(result == (found ? "true" : "Invalid public key"), name);
            QVERIFY2(names(digest) == chain, name);
            QVERIFY2(verifies(digest, found ? "rsa.sig" : "ec.sig"), name);
        };
        check("key, CRLF", "-- -\n\n" + QByteArray(key).replace("\n", "\r\n"), "/CN=ec");
        check("certificates", "1\n" + rsa + "2\n" + ec + rsa, "/CN=rsa/CN=ec/CN=rsa");
        check("key last", ec + pkcs8 + traditional + locked + read("ec.key") + key, "/CN=ec");
        check("encrypted keys", pkcs8 + rsa + traditional + ec, "/CN=rsa/CN=ec");
        check("unusable keys, key", pkcs8.left(200) + '\n' + unknown + key, "/CN=ec");
        check("unusable key, certificate", unknown + rsa, "/CN=rsa");
        check("damage ends the chain", rsa + ec.left(200) + '\n' + ec, "/CN=rsa");
        check("nothing", "", "/CN=ec", false);
        check("private keys", read("rsa.key") + pkcs8 + traditional, "/CN=ec", false);
        check("begin lines", begin.repeated(1000), "/CN=ec", false);
        check("label", QByteArray(key).replace("PUBLIC KEY", "CERTIFICATE"), "/CN=ec", false);
        check("unknown algorithm", unknown, "/CN=ec", false);
    }

    /** Neither does another key come into its place, which OpenSSL gives the same memory. */
    void copiesLoseTheKeyWithTheOriginal()
    {
        using Owner = std::unique_ptr<SignatureDigest>;
        SignatureDigest copies[3], other = withKey("dsa.crt");
        const std::tuple<const char*, bool, std::function<void(Owner&)>> cases[] = {
            {"destroyed", false, [](Owner& o) { o.reset(); }},
            {"the same again", false, [](Owner& o) { o->setPublicKey(o->certificateChain()); }},
            {"removed", false, [](Owner& o) { o->setPublicKey(static_cast<X509*>(nullptr)); }},
            {"borrowed", false, [&](Owner& o) { *o = other; }},
            {"moved", true, [](Owner& o) { o.reset(new SignatureDigest(std::move(*o))); }},
            {"assigned itself", true, [](Owner& o) { *o = *std::as_const(o); }},
            {"assigned its copy", true, [&](Owner& o) { *o = copies[1]; }},
            {"handed back", true,
             [](Owner& o) { o->setPublicKey(X509_get0_pubkey(o->certificateChain().first())); }},
            {"assigned what lists its certificates", true,
             [](Owner& o) {
                 SignatureDigest lister;
                 lister.setPublicKey(o->certificateChain());
                 *o = lister;
             }},
        };
        for (const auto& [name, kept, change] : cases) {
            auto owner = std::make_unique<SignatureDigest>();
            owner->setPublicKeyFile(path("rsa.crt"));
            copies[0] = *owner;
            copies[1] = SignatureDigest(copies[0]);
            copies[2] = std::vector<SignatureDigest>(2, *owner).back();
            change(owner);
            const SignatureDigest forger = withKey("ec.crt");
            for (SignatureDigest& copy : copies) {
                const QByteArray result = outcome([&] { return verifies(copy); });
                QVERIFY2(result == (kept ? "true" : "Public key expected"), name);
                QVERIFY2(copy.hasPublicKey() == kept && names(copy) == "/CN=rsa", name);
            }
            QVERIFY2(!kept || (verifies(*owner) && names(*owner) == "/CN=rsa"), name);
        }
    }

    void movesTakeEverything()
    {
        static_assert(std::is_nothrow_move_constructible_v<SignatureDigest>);
        SignatureDigest digest = withKey("rsa.crt"), assigned = withKey("dsa.crt");
        digest.setSignatureFile(path("rsa.sig"));
        digest.digestFile(path("data"));
        SignatureDigest constructed(std::move(digest));
        assigned = std::move(constructed);
        QVERIFY(names(assigned) == "/CN=rsa" && assigned.verify());
        for (SignatureDigest* const left : {&digest, &constructed}) {
            QVERIFY(!left->hasPublicKey() && !left->hasSignature() && names(*left).isEmpty());
            left->setPublicKeyFile(path("rsa.pub"));
            QVERIFY(outcome([&] { return left->digest("x", 1); }) == "Digest update failed");
            QVERIFY(verifies(*left));
        }
    }

    void tellsAFailedRead()
    {
        for (int reads = 0; reads < 10; ++reads) {
            SignatureDigest digest = withKey("rsa.pub");
            digest.digest(data.constData(), int(data.size()));
            const FailingReads failing(reads / 2, reads % 2);
            const auto load = [&] { return digest.setSignatureFile(path("rsa.sig")), true; };
            const QByteArray result = outcome(load);
            QVERIFY2(result == "true" ? digest.verify()
                                      : failing.happened() && result.startsWith("IO: Could not"),
                     result.constData());
        }
    }

    void takesTheCallersObjects()
    {
        const std::unique_ptr<X509, decltype(&X509_free)> keyless(X509_new(), &X509_free);
        SignatureDigest digest;
        const auto set = [&](auto... source) {
            digest.setPublicKeyFile(path("rsa.crt"));
            return outcome([&] { return digest.setPublicKey(source...), digest.hasPublicKey(); });
        };
        QCOMPARE(set(QList<X509*>{keyless.get()}), QByteArray("Invalid public key"));
        QVERIFY(names(digest) == "/CN=rsa" && verifies(digest));
        QVERIFY(set((EVP_PKEY*)nullptr) == "false" && set((const char*)nullptr, 5) == "false");
        QVERIFY(set((X509*)nullptr) == "false" && set(QList<X509*>()) == "false");
        QCOMPARE(names(digest), QByteArray("/CN=rsa"));
    }

private:
    QString path(const QByteArray& name) const { return m_folder.at(name.constData()); }
    QByteArray read(const char* name) const { return m_folder.contents(name); }
    SignatureDigest withKey(const QByteArray& file) const
    {
        SignatureDigest digest;
        digest.setPublicKeyFile(path(file));
        return digest;
    }
    bool verifies(SignatureDigest& digest, const char* signature = "rsa.sig") const
    {
        return digest.verify1File(path("data"), path(signature));
    }

    TemporaryFolder m_folder;
};

QTEST_GUILESS_MAIN(SignatureDigestTest)
#include "SignatureDigestTest.moc"
