#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "CallPlan.h"
#include "ZelOamSpiCm.h"

namespace OrvTest
{

struct MemberOfStruct;

// A present value of an attribute, or of a struct's member, as a test writes it.
struct ModelValue
{
    int64_t number = 0;                        // of the codes that are whole numbers
    double real = 0;                           // of the code 16
    std::string text = {};                     // of the codes 9 and 11
    bool nullText = false;                     // a null pointer instead of the text
    std::vector<MemberOfStruct> members = {};  // of the code 13; none gives a null pointer
};

struct MemberOfStruct
{
    std::string name;
    ZelOamSpiMoAttributeType_3 type;
    std::vector<ModelValue> values;
    bool nullName = false;
    bool nullValue = false;  // a null pointer instead of the container of the values
};

ModelValue numberValue(int64_t number);
ModelValue realValue(double real);
ModelValue textValue(const std::string& text);
ModelValue nullTextValue();
ModelValue structValue(const std::vector<MemberOfStruct>& members);
ModelValue nullStructValue();

// The managed objects behind the subtree filters: transaction master "2", managed object "3" and model repository "3",
// over data and classes that a test sets. An object or an attribute that was not set is answered with OrvNotFound.
//
// Handles of transactions, classes and attributes do not fit into 32 bits and are never used twice. The bytes of a
// value that its type leaves unused are set, so that a comparison that reads too much is seen.
//
// Threads:   any.
// Ownership: a result belongs to its transaction, and is freed when that is closed. Texts of the model live as long as
//            this object.
// Calls:     "openTransaction", "closeTransaction", "getMoAttribute", and "repository3." with the name of the function.
class FakeManagedObjects
{
public:
    explicit FakeManagedObjects(CallPlan& plan) : _plan(plan) {}

    // Data. What was set under the same name before is replaced; results handed out before stay as they are.
    void setAttribute(const std::string& dn, const std::string& name, ZelOamSpiMoAttributeType_3 type,
                      const std::vector<ModelValue>& values);
    void setInt32(const std::string& dn, const std::string& name, int32_t value);
    void setString(const std::string& dn, const std::string& name, const std::string& value);
    // One struct value with these members.
    void setStruct(const std::string& dn, const std::string& name, const std::vector<MemberOfStruct>& members);
    // A read that succeeds with a result whose value is a null pointer.
    void setNoValue(const std::string& dn, const std::string& name);
    // A read that succeeds with a null pointer where so many values should stand.
    void setNullValues(const std::string& dn, const std::string& name, ZelOamSpiMoAttributeType_3 type, uint32_t count);
    // What the first field of every result says from now on; 0 at first.
    void setStatus(int32_t status);
    void removeAttribute(const std::string& dn, const std::string& name);
    // The object alone, not those below it.
    void removeObject(const std::string& dn);

    // A class of the model: its attributes in order, each with its name and whether it is the key. The class of a DN is
    // what stands before the "=" of its last component.
    void addKeyClass(const std::string& name, const std::vector<std::pair<std::string, bool>>& attributes);
    // From now on getNextAttribute succeeds at the last attribute, with a handle that nothing knows.
    void walkPastTheEnd();
    // From now on a name is answered as a null pointer, with success.
    void answerNullNames();
    // From now on a flag, or a name, is answered with success and without writing it.
    void leaveFlagsUnwritten();
    void leaveNamesUnwritten();

    // Transactions since the beginning, and the handles that are open now, ascending.
    unsigned int opened() const;
    unsigned int closed() const;
    std::vector<unsigned long> openHandles() const;
    // Reads and closings with a handle that is not open, and calls with handles of the model that it never gave.
    unsigned int misuses() const;

    // All calls so far with what they were given, oldest first, those that were told to fail among them:
    //   "openTransaction(1, 3600)", "getMoAttribute(T1, A=1, x)", "closeTransaction(T1)", "getMocFromDn(A=1,B=*, 0)",
    //   "getFirstAttribute(B)", "getAttributeFlag(B.id, 0)", "getNextAttribute(B.id)", "getGeneralProperties(B.id)",
    //   "getPropertyText(B.id, 0)"
    // T1 is the transaction opened first; "?" stands for a handle that was never given.
    std::vector<std::string> calls() const;
    void clearCalls();

    ZelReturnT openTransaction(unsigned int mode, unsigned int timeout, unsigned long* transaction);
    ZelReturnT closeTransaction(unsigned long transaction);
    ZelReturnT getMoAttribute(unsigned long transaction, const char* dn, const char* attributeName,
                              ZelMoAttributeValueResult_3* result);
    ZelReturnT getMocFromDn(const char* dn, unsigned int selector, uint64_t* moc);
    ZelReturnT getFirstAttribute(uint64_t moc, uint64_t* attribute);
    ZelReturnT getNextAttribute(uint64_t attribute, uint64_t* next);
    ZelReturnT getAttributeFlag(uint64_t attribute, unsigned int selector, bool* flag);
    ZelReturnT getGeneralProperties(uint64_t attribute, uint64_t* properties);
    ZelReturnT getPropertyText(uint64_t properties, unsigned int selector, const char** text);

    FakeManagedObjects(const FakeManagedObjects&) = delete;
    FakeManagedObjects& operator=(const FakeManagedObjects&) = delete;

private:
    struct Data
    {
        ZelOamSpiMoAttributeType_3 type;
        std::vector<ModelValue> values;
        bool noValue = false;
        uint32_t nullValues = 0;
    };
    struct Class
    {
        std::string name;
        std::vector<std::pair<std::string, bool>> attributes;
    };
    struct Result;

    void note(const std::string& call);
    ZelReturnT misuse();
    std::string transactionName(unsigned long transaction) const;
    std::string attributeName(uint64_t attribute) const;
    const Class* classAt(uint64_t moc) const;
    const std::pair<std::string, bool>* attributeAt(uint64_t attribute) const;

    CallPlan& _plan;
    mutable std::mutex _mutex;  // not held while _plan is asked: its actions may call this object
    std::map<std::string, std::map<std::string, Data>> _objects;
    std::vector<std::unique_ptr<Class>> _classes;
    bool _walksPastTheEnd = false;
    bool _answersNullNames = false;
    bool _writesFlags = true;
    bool _writesNames = true;
    int32_t _status = 0;
    std::map<unsigned long, std::vector<std::shared_ptr<Result>>> _open;
    unsigned int _opened = 0;
    unsigned int _closed = 0;
    unsigned int _misuses = 0;
    std::vector<std::string> _calls;
};

// The tables of these interfaces, and one that the service declares as needed and must not call. They forward to the
// live FakeFramework; without one they answer OrvFailure.
std::vector<ZelMgmtSpiInterface_1*> managedObjectTables();

}  // namespace OrvTest
