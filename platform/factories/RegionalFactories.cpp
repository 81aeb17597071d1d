// The regional object factories' constructors and destructors, the same on
// every platform; each platform hands the instances over itself
// (factories/InstallFactories.cpp of the platform's folder).
#include "TCObjectFactory.h"

TCObjectFactoryKR::TCObjectFactoryKR() = default;
TCObjectFactoryKR::~TCObjectFactoryKR() = default;
TCObjectFactoryUSA::TCObjectFactoryUSA() = default;
TCObjectFactoryUSA::~TCObjectFactoryUSA() = default;
TCObjectFactoryDVB::TCObjectFactoryDVB() = default;
TCObjectFactoryDVB::~TCObjectFactoryDVB() = default;
TCObjectFactoryBRZ::TCObjectFactoryBRZ() = default;
TCObjectFactoryBRZ::~TCObjectFactoryBRZ() = default;
TCObjectFactoryJPN::TCObjectFactoryJPN() = default;
TCObjectFactoryJPN::~TCObjectFactoryJPN() = default;
