/// Records the library's calls into the host, and fails the ones that a test chooses.
#ifndef TAL_TEST_HOST_CALLS_H
#define TAL_TEST_HOST_CALLS_H

#include <string>
#include <string_view>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "support/CallWatch.h"

namespace tal::test {

/// Sits between the library and the host while it lives; calls go through to the host unless a fault says otherwise.
///
///     HostCalls host;
///     host.Fail("CVariable_GetName", 2, 0x8003);
///     EXPECT_EQ(provider->StoreAll(0, database, 0), QBF_E_FAILED);
///     EXPECT_TRUE(host.Fired());
///
/// A call is named by its function, and where that tells calls apart by an argument after a space:
/// "CDatabase_GetVariableByPath Region/Object/Name", "CVariable_SetRetrieved 1", "CStorageObject_GetName null". Faults
/// take either form. Several faults may be set; the first one that fits a call decides. At most one instance lives at a
/// time.
class HostCalls {
public:
    explicit HostCalls(Watch watch = Watch::Library);
    ~HostCalls();
    HostCalls(const HostCalls&) = delete;
    HostCalls& operator=(const HostCalls&) = delete;

    /// Fails the `nth` call, from 1, of all calls whose failure the library can notice or feel: the ones that return a
    /// result code, without CList_Construct and CList_Destruct. The host is not called, out-parameters stay as they
    /// are.
    void Fail(int nth, QBFResult code = QBF_E_FAILED);

    /// Fails the `nth` call, from 1, of `function`. A function that returns no result code gives `code` as its value.
    void Fail(std::string_view function, int nth, QBFResult code = QBF_E_FAILED);

    /// Fails every call of `function`.
    void FailAll(std::string_view function, QBFResult code = QBF_E_FAILED);

    /// Calls the host, then answers `code` in place of its result.
    void Override(std::string_view function, int nth, QBFResult code);
    void OverrideAll(std::string_view function, QBFResult code);

    /// CVariable_GetName hands out `name`, which has to outlive the calls, for every variable.
    void NameEveryVariable(const char* name) { variableName_ = name; }

    /// CList_GetNext hands out the same item again and again and says each time that more follow.
    void RepeatListItems() { repeatsListItems_ = true; }

    /// Whether any fault has met its call.
    [[nodiscard]] bool Fired() const { return !firedAt_.empty(); }

    /// The call that the first fault met, with its argument; empty before.
    [[nodiscard]] const std::string& FiredAt() const { return firedAt_; }

    /// The function of that call.
    [[nodiscard]] std::string FunctionName() const;

    /// All calls in order, with their arguments.
    [[nodiscard]] const std::vector<std::string>& Calls() const { return calls_; }

    /// How often `function` has been called.
    [[nodiscard]] int Count(std::string_view function) const;

private:
    friend class HostInterposer;

    enum class Action { PassOn, Replace, Override };
    struct Answer {
        Action action = Action::PassOn;
        QBFResult code = QBF_OK;
    };
    struct Fault {
        std::string function;  // Empty: any call that can fail.
        int nth;               // 0: every one.
        Answer answer;
        int seen = 0;
    };

    Answer AnswerTo(const std::string& function, const std::string& call, bool canFail);

    Watch watch_;
    std::vector<Fault> faults_;
    std::vector<std::string> calls_;
    std::string firedAt_;
    const char* variableName_ = nullptr;
    bool repeatsListItems_ = false;
};

}  // namespace tal::test

#endif
