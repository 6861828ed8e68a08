#include "support/Scratch.h"
#include "support/families.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    try {
        const bench::Scratch scratch;
        bench::addMemoryStream();
        bench::addStreamCopies();
        bench::addReaders();
        bench::addWakeUp();
        bench::addLines();
        bench::addGrowthPause();
        bench::addSpool();
        bench::addDigests();
        bench::addVerification();
        bench::addStrictVerification();
        bench::addTrees();
        bench::addNames();
        bench::addFileCopies();
        bench::addFileJobs();
        bench::addAsyncFile();
        bench::addWorker();
        bench::addTokens();
        if (benchmark::RunSpecifiedBenchmarks() == 0) {
            std::fputs("quarn-benchmarks: no benchmark has such a name\n", stderr);
            return 1;
        }
        benchmark::Shutdown();
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "quarn-benchmarks: %s\n", fault.what());
        return 1;
    }
    return 0;
}
