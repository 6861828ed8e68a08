#ifndef QUARN_BENCHMARKS_SUPPORT_FAMILIES_H
#define QUARN_BENCHMARKS_SUPPORT_FAMILIES_H

namespace bench {

// Each registers the benchmarks of one topic with Google Benchmark.

void addMemoryStream();
void addStreamCopies();

void addReaders();
void addWakeUp();
void addLines();
void addGrowthPause();
void addSpool();

void addDigests();
void addVerification();
void addStrictVerification();

void addTrees();
void addNames();
void addFileCopies();
void addFileJobs();

void addAsyncFile();
void addWorker();
void addTokens();

} // namespace bench
#endif
