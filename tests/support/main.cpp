#include "TestRegistry.h"

#ifdef QUARN_TEST_WITH_WIDGETS
#include <QApplication>
using Application = QApplication;
#else
#include <QCoreApplication>
using Application = QCoreApplication;
#endif

int main(int argc, char** argv)
{
    const Application application(argc, argv);
    return TestRegistry::run(argc, argv);
}
