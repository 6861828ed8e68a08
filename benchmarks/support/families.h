#ifndef QUARN_BENCHMARKS_SUPPORT_FAMILIES_H
#define QUARN_BENCHMARKS_SUPPORT_FAMILIES_H

namespace bench {

// Each registers the benchmarks of one topic with Google Benchmark.

void addFileCopies();
void addMemoryStream();
void addNames();
void addStreamCopies();
void addTokens();
void addTrees();
void addWorker();

} // namespace bench
#endif
