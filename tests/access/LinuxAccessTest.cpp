#include <Quarn/access/AccessTokenKeeper.h>
#include <Quarn/access/KelFileAccess.h>

#include <QTest>

#include <fstream>

namespace {

constexpr int passwordLength = 40;

/** Computed, so that the program holds no password but in the strings that it makes. */
char passwordCharacter(int kind, int index)
{
    return char('!' + (index * index * 7 + index * 3 + kind * 11) % 90);
}

template <typename Character>
__attribute__((no_sanitize("address", "undefined"))) int count(quintptr begin, quintptr end,
                                                               int kind)
{
    int found = 0;
    const auto* const last = reinterpret_cast<const Character*>(end) - passwordLength;
    for (auto* text = reinterpret_cast<const Character*>(begin); text <= last; ++text) {
        int length = 16; // the heap overwrites the beginning of what is freed
        while (length < passwordLength
               && text[length] == Character(passwordCharacter(kind, length)))
            ++length;
        found += length == passwordLength;
    }
    return found;
}

/** How often the memory of the process holds a password: all of it, and what a core dump gets. */
std::pair<int, int> find(int kind)
{
    std::pair<int, int> found;
    std::ifstream maps("/proc/self/smaps");
    unsigned long begin = 0, end = 0, first = 0, last = 0;
    for (std::string line; std::getline(maps, line);) {
        if (std::sscanf(line.c_str(), "%lx-%lx", &first, &last) == 2)
            std::tie(begin, end) = std::tie(first, last);
        // A sanitizer's shadow memory is larger than all else together.
        if (line.rfind("VmFlags: rd wr", 0) == 0 && end - begin <= 1UL << 31) {
            const int here = count<wchar_t>(begin, end, kind) + count<char16_t>(begin, end, kind);
            found.first += here;
            found.second += line.find(" dd") == std::string::npos ? here : 0;
        }
    }
    return found;
}

std::wstring password(int kind)
{
    std::wstring text(passwordLength, L' ');
    for (int i = 0; i < passwordLength; ++i)
        text[std::size_t(i)] = wchar_t(passwordCharacter(kind, i));
    return text;
}

} // namespace

/** What is left in memory of passwords, and what they cost. */
class LinuxAccessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void passwordsAreWiped()
    {
        auto keeper = std::make_unique<kel::AccessTokenKeeper>();
        auto file = std::make_unique<kel::KelFileAccess>(QString());
        for (const int kind : {1, 1, 2}) {
            std::wstring text = password(kind);
            QString characters = QString::fromStdWString(text);
            file->setUserAndPassword(QStringLiteral("bob"), characters);
            characters.fill(QLatin1Char(' '));
            (void)keeper->getLoggedOnToken(L"scope", L"bob", std::move(text));
        }
        QCOMPARE(find(1), std::make_pair(0, 0)); // replaced
        QCOMPARE(find(2), std::make_pair(2, 0)); // one in each
        QVERIFY(keeper->forget(L"scope", L"bob"));
        file.reset();
        QCOMPARE(find(2), std::make_pair(0, 0));
        (void)keeper->getLoggedOnToken(L"scope", L"bob", password(3));
        (void)keeper->getLoggedOnToken(L"scope", L"eve", password(4));
        keeper->clear();
        QVERIFY(find(3).first == 0 && find(4).first == 0);
        (void)keeper->getLoggedOnToken(L"scope", L"bob", password(5));
        QCOMPARE(find(5), std::make_pair(1, 0));
        keeper.reset();
        QCOMPARE(find(5), std::make_pair(0, 0));
    }

    /** A process has 65,530 mappings, and may lock few pages. */
    void passwordsSharePages()
    {
        const auto mappings = [] {
            std::ifstream maps("/proc/self/maps");
            return std::count(std::istreambuf_iterator<char>(maps), {}, '\n');
        };
        const auto before = mappings();
        kel::AccessTokenKeeper keeper;
        for (int user = 0; user < 1000; ++user)
            (void)keeper.getLoggedOnToken(L"", std::to_wstring(user), password(1));
        QVERIFY(mappings() - before < 50);
    }
};

QTEST_GUILESS_MAIN(LinuxAccessTest)
#include "LinuxAccessTest.moc"
