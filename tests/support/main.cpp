#include "TestRegistry.h"

#ifdef QUARN_TEST_WITH_WIDGETS
#include <QApplication>
using Application = QApplication;

/** Asked by the leak sanitizer: the offscreen platform of Qt 5 leaks its screen. */
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:QScreen::QScreen\nleak:libqoffscreen";
}
#else
#include <QCoreApplication>
using Application = QCoreApplication;
#endif

int main(int argc, char** argv)
{
    const Application application(argc, argv);
    return TestRegistry::run(argc, argv);
}
