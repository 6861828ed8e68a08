#ifndef QUARN_BENCHMARKS_STREAMS_BENCHMARKFILE_H
#define QUARN_BENCHMARKS_STREAMS_BENCHMARKFILE_H

#include <Quarn/streams/kelmQFile.h>

namespace bench {

/** The file stream as an application derives it. */
class BenchmarkFile : public kel::kelmQFile
{
public:
    using kelmQFile::kelmQFile;

    void setThroughputStats(quint64, quint64, quint64, quint64) override { }
};

} // namespace bench
#endif
