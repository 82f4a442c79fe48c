#include "DnCalls.h"

namespace OrvTest
{

namespace
{

thread_local DnCalls* dnCalls = nullptr;

}  // namespace

DnCalls::DnCalls()
{
    dnCalls = this;
}

DnCalls::~DnCalls()
{
    dnCalls = nullptr;
}

}  // namespace OrvTest

using OrvTest::dnCalls;

// The name is the linker's.
extern "C"
{
    void __real__ZN3Orv6DnUtil5getDnEPKcS2_S2_S2_RNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(
        const char* parentDn, const char* className, const char* keyName, const char* keyValue, std::string& dn);

    void __wrap__ZN3Orv6DnUtil5getDnEPKcS2_S2_S2_RNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(
        const char* parentDn, const char* className, const char* keyName, const char* keyValue, std::string& dn)
    {
        if (dnCalls != nullptr)
        {
            dnCalls->calls.push_back(std::string(parentDn) + " " + className + " " + keyName + " " + keyValue);
        }
        __real__ZN3Orv6DnUtil5getDnEPKcS2_S2_S2_RNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(
            parentDn, className, keyName, keyValue, dn);
    }
}
