#include "support/HostCalls.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tal::test {

namespace {

HostCalls* activeCalls = nullptr;

std::string FunctionOf(const std::string& call) {
    return call.substr(0, call.find(' '));
}

bool Fits(std::string_view wanted, const std::string& function, const std::string& call) {
    return wanted == function || wanted == call;
}

}  // namespace

HostCalls::HostCalls(Watch watch) : watch_(watch) {
    EXPECT_EQ(activeCalls, nullptr) << "one HostCalls at a time";
    activeCalls = this;
}

HostCalls::~HostCalls() {
    activeCalls = nullptr;
}

void HostCalls::Fail(int nth, QBFResult code) {
    faults_.push_back({"", nth, {Action::Replace, code}});
}

void HostCalls::Fail(std::string_view function, int nth, QBFResult code) {
    faults_.push_back({std::string(function), nth, {Action::Replace, code}});
}

void HostCalls::FailAll(std::string_view function, QBFResult code) {
    Fail(function, 0, code);
}

void HostCalls::Override(std::string_view function, int nth, QBFResult code) {
    faults_.push_back({std::string(function), nth, {Action::Override, code}});
}

void HostCalls::OverrideAll(std::string_view function, QBFResult code) {
    Override(function, 0, code);
}

std::string HostCalls::FunctionName() const {
    return FunctionOf(firedAt_);
}

int HostCalls::Count(std::string_view function) const {
    return static_cast<int>(std::count_if(calls_.begin(), calls_.end(), [function](const std::string& call) {
        return Fits(function, FunctionOf(call), call);
    }));
}

HostCalls::Answer HostCalls::AnswerTo(const std::string& function, const std::string& call, bool canFail) {
    calls_.push_back(call);
    Answer answer;
    for (Fault& fault : faults_) {
        const bool fits = fault.function.empty() ? canFail : Fits(fault.function, function, call);
        if (!fits) {
            continue;
        }
        ++fault.seen;
        if (answer.action == Action::PassOn && (fault.nth == 0 || fault.nth == fault.seen)) {
            answer = fault.answer;
        }
    }
    if (answer.action != Action::PassOn && firedAt_.empty()) {
        firedAt_ = call;
    }
    return answer;
}

/// One call of one function of the host, on its way from the caller to the host.
class HostInterposer {
public:
    HostInterposer(const char* function, const void* returnAddress, const char* argument = nullptr)
        : function_(function),
          argument_(argument),
          isWatched_(activeCalls != nullptr && IsWatched(returnAddress, activeCalls->watch_)) {}

    HostInterposer& CannotFail() {
        canFail_ = false;
        return *this;
    }

    [[nodiscard]] const char* VariableName() const { return isWatched_ ? activeCalls->variableName_ : nullptr; }
    [[nodiscard]] bool RepeatsListItems() const { return isWatched_ && activeCalls->repeatsListItems_; }

    template <class Result, class... Parameters>
    Result Forward(Result (*real)(Parameters...), Parameters... arguments) {
        const HostCalls::Answer answer =
            isWatched_ ? activeCalls->AnswerTo(function_, Call(), canFail_) : HostCalls::Answer{};
        if (answer.action == HostCalls::Action::Replace) {
            return static_cast<Result>(answer.code);
        }
        const Result result = real(arguments...);
        return answer.action == HostCalls::Action::Override ? static_cast<Result>(answer.code) : result;
    }

private:
    [[nodiscard]] std::string Call() const {
        return argument_ == nullptr ? function_ : std::string(function_) + ' ' + argument_;
    }

    const char* function_;
    const char* argument_;
    bool isWatched_;
    bool canFail_ = true;
};

}  // namespace tal::test

using tal::test::HostInterposer;
using tal::test::Real;

// The symbols of these five carry their parameter types.

QBFResult CDatabase_GetVariableByPath(CDatabase* database, const char* path, CVariable** variable) {
    static auto* const real =
        Real<decltype(CDatabase_GetVariableByPath)>("_Z27CDatabase_GetVariableByPathP9CDatabasePKcPP9CVariable");
    return HostInterposer("CDatabase_GetVariableByPath", __builtin_return_address(0), path)
        .Forward(real, database, path, variable);
}

QBFResult CDatabase_UpdatePathHashTable(CDatabase* database) {
    static auto* const real =
        Real<decltype(CDatabase_UpdatePathHashTable)>("_Z29CDatabase_UpdatePathHashTableP9CDatabase");
    return HostInterposer("CDatabase_UpdatePathHashTable", __builtin_return_address(0)).Forward(real, database);
}

QBFResult CDatabase_SetAsNotRetrieved(CDatabase* database) {
    static auto* const real = Real<decltype(CDatabase_SetAsNotRetrieved)>("_Z27CDatabase_SetAsNotRetrievedP9CDatabase");
    return HostInterposer("CDatabase_SetAsNotRetrieved", __builtin_return_address(0)).Forward(real, database);
}

QBFResult CDatabase_SetNotRetrievedVariablesToDefault(CDatabase* database) {
    static auto* const real = Real<decltype(CDatabase_SetNotRetrievedVariablesToDefault)>(
        "_Z43CDatabase_SetNotRetrievedVariablesToDefaultP9CDatabase");
    return HostInterposer("CDatabase_SetNotRetrievedVariablesToDefault", __builtin_return_address(0))
        .Forward(real, database);
}

QBFResult CStorageRegion_GetName(CStorageRegion* region, char** name) {
    static auto* const real = Real<decltype(CStorageRegion_GetName)>("_Z22CStorageRegion_GetNameP14CStorageRegionPPc");
    return HostInterposer("CStorageRegion_GetName", __builtin_return_address(0)).Forward(real, region, name);
}

extern "C" {

QBFResult CStorageObject_GetName(CStorageObject* object, char** name) {
    static auto* const real = Real<decltype(CStorageObject_GetName)>("CStorageObject_GetName");
    return HostInterposer("CStorageObject_GetName", __builtin_return_address(0), object == nullptr ? "null" : nullptr)
        .Forward(real, object, name);
}

int CStorageObject_IsWritable(CStorageObject* object) {
    static auto* const real = Real<decltype(CStorageObject_IsWritable)>("CStorageObject_IsWritable");
    return HostInterposer("CStorageObject_IsWritable", __builtin_return_address(0)).CannotFail().Forward(real, object);
}

QBFResult CStorageObject_GetVariableIterator(CStorageObject* object, HostIterator* iterator) {
    static auto* const real = Real<decltype(CStorageObject_GetVariableIterator)>("CStorageObject_GetVariableIterator");
    return HostInterposer("CStorageObject_GetVariableIterator", __builtin_return_address(0))
        .Forward(real, object, iterator);
}

QBFResult CStorageObject_GetNextVariable(CStorageObject* object, CVariable** variable, HostIterator* iterator) {
    static auto* const real = Real<decltype(CStorageObject_GetNextVariable)>("CStorageObject_GetNextVariable");
    return HostInterposer("CStorageObject_GetNextVariable", __builtin_return_address(0))
        .Forward(real, object, variable, iterator);
}

QBFResult CVariable_GetName(CVariable* variable, char** name) {
    static auto* const real = Real<decltype(CVariable_GetName)>("CVariable_GetName");
    HostInterposer call("CVariable_GetName", __builtin_return_address(0));
    const QBFResult result = call.Forward(real, variable, name);
    if (const char* const replacement = call.VariableName()) {
        *name = const_cast<char*>(replacement);
    }
    return result;
}

VariableType CVariable_GetType(CVariable* variable) {
    static auto* const real = Real<decltype(CVariable_GetType)>("CVariable_GetType");
    return HostInterposer("CVariable_GetType", __builtin_return_address(0)).CannotFail().Forward(real, variable);
}

uint32_t CVariable_GetNoOfElements(CVariable* variable) {
    static auto* const real = Real<decltype(CVariable_GetNoOfElements)>("CVariable_GetNoOfElements");
    return HostInterposer("CVariable_GetNoOfElements", __builtin_return_address(0))
        .CannotFail()
        .Forward(real, variable);
}

uint32_t CVariable_GetSizeInBytes(CVariable* variable) {
    static auto* const real = Real<decltype(CVariable_GetSizeInBytes)>("CVariable_GetSizeInBytes");
    return HostInterposer("CVariable_GetSizeInBytes", __builtin_return_address(0)).CannotFail().Forward(real, variable);
}

QBFResult CVariable_GetContentAddress(CVariable* variable, void** address) {
    static auto* const real = Real<decltype(CVariable_GetContentAddress)>("CVariable_GetContentAddress");
    return HostInterposer("CVariable_GetContentAddress", __builtin_return_address(0)).Forward(real, variable, address);
}

QBFResult CVariable_SetRetrieved(CVariable* variable, int retrieved) {
    static auto* const real = Real<decltype(CVariable_SetRetrieved)>("CVariable_SetRetrieved");
    return HostInterposer("CVariable_SetRetrieved", __builtin_return_address(0), std::to_string(retrieved).c_str())
        .Forward(real, variable, retrieved);
}

QBFResult CList_Construct(CList* list) {
    static auto* const real = Real<decltype(CList_Construct)>("CList_Construct");
    return HostInterposer("CList_Construct", __builtin_return_address(0)).CannotFail().Forward(real, list);
}

QBFResult CList_PushTail(CList* list, void* item) {
    static auto* const real = Real<decltype(CList_PushTail)>("CList_PushTail");
    return HostInterposer("CList_PushTail", __builtin_return_address(0)).Forward(real, list, item);
}

QBFResult CList_StartIterationFromHead(CList* list, HostIterator* iterator) {
    static auto* const real = Real<decltype(CList_StartIterationFromHead)>("CList_StartIterationFromHead");
    return HostInterposer("CList_StartIterationFromHead", __builtin_return_address(0)).Forward(real, list, iterator);
}

QBFResult CList_GetNext(CList* list, void** item, HostIterator* iterator) {
    static auto* const real = Real<decltype(CList_GetNext)>("CList_GetNext");
    HostInterposer call("CList_GetNext", __builtin_return_address(0));
    if (!call.RepeatsListItems()) {
        return call.Forward(real, list, item, iterator);
    }
    void* const position = *iterator;
    call.Forward(real, list, item, iterator);
    *iterator = position;
    return QBF_OK;
}

QBFResult CList_Destruct(CList* list) {
    static auto* const real = Real<decltype(CList_Destruct)>("CList_Destruct");
    return HostInterposer("CList_Destruct", __builtin_return_address(0)).CannotFail().Forward(real, list);
}
}
