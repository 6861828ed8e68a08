#ifndef QUARN_TESTS_MULTIUSER_PATIENTREADER_H
#define QUARN_TESTS_MULTIUSER_PATIENTREADER_H

#include <Quarn/multiuser/MultiUserReader.h>

/** A reader whose reads wait for what wakes them, however long: one that nothing wakes hangs. */
class PatientReader : public kel::MultiUserReader
{
public:
    using MultiUserReader::MultiUserReader;
    bool waitForReadyRead(int) override { return MultiUserReader::waitForReadyRead(-1); }
};

#endif
