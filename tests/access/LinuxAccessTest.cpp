#include <Quarn/access/AccessTokenKeeper.h>

#include <QTest>

#include <fstream>

namespace {

constexpr int passwordLength = 40;

/** Computed, so that the program holds no password but in the strings that it makes. */
wchar_t passwordCharacter(int kind, int index)
{
    return wchar_t(L'!' + (index * index * 7 + index * 3 + kind * 11) % 90);
}

__attribute__((no_sanitize("address"))) int count(quintptr begin, quintptr end, int kind)
{
    int found = 0;
    const auto* const last = reinterpret_cast<const wchar_t*>(end) - passwordLength;
    for (auto* text = reinterpret_cast<const wchar_t*>(begin); text <= last; ++text) {
        int length = 8; // the heap overwrites the beginning of what is freed
        while (length < passwordLength && text[length] == passwordCharacter(kind, length))
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
            const int here = count(begin, end, kind);
            found.first += here;
            found.second += line.find(" dd") == std::string::npos ? here : 0;
        }
    }
    return found;
}

} // namespace

/** What is left in memory of passwords. */
class LinuxAccessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void passwordsAreWiped()
    {
        auto keeper = std::make_unique<kel::AccessTokenKeeper>();
        for (const int kind : {1, 1, 2}) {
            std::wstring password(passwordLength, L' ');
            for (int i = 0; i < passwordLength; ++i)
                password[std::size_t(i)] = passwordCharacter(kind, i);
            (void)keeper->getLoggedOnToken(L"scope", L"bob", std::move(password));
        }
        QCOMPARE(find(1), std::make_pair(0, 0)); // replaced
        QCOMPARE(find(2), std::make_pair(2, 0)); // in the cache and in the token
        keeper.reset();
        QCOMPARE(find(2), std::make_pair(0, 0));
    }
};

QTEST_GUILESS_MAIN(LinuxAccessTest)
#include "LinuxAccessTest.moc"
