#include <Quarn/interfaces/IInterface.h>

#include <cstring>

namespace kel {

IInterface::~IInterface() = default;

const void* IInterface::getInterface(const char* id) const
{
    return const_cast<IInterface*>(this)->getInterface(id);
}

void* IInterface::getInterface(const char* id)
{
    return id && std::strcmp(id, ID()) == 0 ? this : nullptr;
}

const char* IInterface::ID()
{
    return "kel::IInterface";
}

} // namespace kel
