#include "TestRegistry.h"

#include <QTest>

#include <cstdio>
#include <map>
#include <set>

namespace {

std::map<std::string, TestRegistry::Factory>& factories()
{
    static std::map<std::string, TestRegistry::Factory> all;
    return all;
}

} // namespace

bool TestRegistry::add(const std::string& name, Factory factory)
{
    return factories().emplace(name, std::move(factory)).second;
}

int TestRegistry::run(int argc, char** argv)
{
    QStringList arguments;
    std::set<std::string> wanted;
    for (int i = 0; i < argc; ++i) {
        const bool named = qstrcmp(argv[i], "-class") == 0 && i + 1 < argc;
        if (named)
            wanted.insert(argv[++i]);
        else
            arguments << QString::fromLocal8Bit(argv[i]);
    }
    int failures = 0;
    std::size_t ran = 0;
    for (const auto& [name, factory] : factories()) {
        if (!wanted.empty() && wanted.count(name) == 0)
            continue;
        ++ran;
        failures += QTest::qExec(factory().get(), arguments);
    }
    if (ran == 0 || ran < wanted.size()) {
        std::fputs("No test class of a name given with -class is in this program.\n", stderr);
        return 1;
    }
    return failures;
}
