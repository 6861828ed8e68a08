#ifndef QUARN_TESTS_SUPPORT_TESTREGISTRY_H
#define QUARN_TESTS_SUPPORT_TESTREGISTRY_H

#include <QObject>

#include <functional>
#include <memory>
#include <string>

/** The test classes of a program; main() runs them all, or those named by -class. */
class TestRegistry
{
public:
    using Factory = std::function<std::unique_ptr<QObject>()>;

    static bool add(const std::string& name, Factory factory);
    static int run(int argc, char** argv);
};

#define QUARN_TEST(TestClass)                                                                      \
    static const bool registered##TestClass                                                        \
        = TestRegistry::add(#TestClass, [] { return std::make_unique<TestClass>(); });

#endif
