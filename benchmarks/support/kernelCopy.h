#ifndef QUARN_BENCHMARKS_SUPPORT_KERNELCOPY_H
#define QUARN_BENCHMARKS_SUPPORT_KERNELCOPY_H

namespace bench {

/** Makes the file \a to a copy of \a from, which has \a size bytes, all within the kernel. */
void copyByKernel(const char* from, const char* to, long long size);

} // namespace bench
#endif
