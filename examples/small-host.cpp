/// @file
/// A complete small host: a process that keeps its settings in plain variables, the contract of HostDatabase.h over
/// them, and a main that checks the host and then stores and restores the settings through every file provider. It ends
/// with status 0 when everything came out as it says. The trace on standard error tells of the files that it removes on
/// purpose.
///
/// To start from it, replace Settings and SettingsDatabase by your own and keep what stands before them.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "Device/DeviceSupport/check-host.h"

// ---- The host's types. The library only declares them; what they are is the host's own affair, but for the words that
// ---- the library reads directly: the lists of regions and objects.

/// Its value is a variable of the process, which the library reads and writes in place.
struct CVariable {
    std::string name;
    VariableType type;
    std::uint32_t elementCount;  ///< Elements of an array; capacity of a string, its NUL included.
    std::uint32_t sizeInBytes;
    void* content;
    std::vector<std::uint8_t> defaultBytes;  ///< None for object variables, which have no value of their own.
    bool isRetrieved = false;
};

struct CStorageObject {
    std::string name;
    bool isWritable;                   ///< What is not goes only into the files of the binary provider.
    std::vector<CVariable> variables;  ///< Complete before the first store: the library is handed their addresses.
    HostListNode link{};               ///< For the list of a region; objects inside objects leave it unused.

    /// `type` has to be that of `value`: an array type for an array, VARIABLE_TYPE_STRING for an array of char,
    /// VARIABLE_TYPE_BOOL for a 32-bit word. What the value is now becomes its default.
    template <class T>
    void Add(const char* variableName, VariableType type, T& value) {
        constexpr std::uint32_t kElementCount = std::is_array_v<T> ? std::extent_v<T> : 1;
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&value);
        variables.push_back({variableName, type, kElementCount, sizeof value, &value, {bytes, bytes + sizeof value}});
    }

    /// Add a nested object last: in secure files, the path of a variable after it would carry the object's name, and
    /// nothing would be found under that path when the file is read back.
    void AddObject(CStorageObject& object) {
        variables.push_back({object.name, VARIABLE_TYPE_OBJECT, 1, sizeof(void*), &object, {}});
    }

    /// `elements` is what CVariable_GetContentAddress hands out, so it has to live as long as the database.
    template <std::size_t Count>
    void AddObjectArray(const char* variableName, CStorageObject* (&elements)[Count]) {
        variables.push_back({variableName, VARIABLE_TYPE_OBJECT_ARRAY, Count, sizeof elements, elements, {}});
    }
};

/// Appends to a circular list whose sentinel is already linked, to itself when the list is empty.
void Append(HostListNode& sentinel, HostListNode& node, void* element) {
    node = {&sentinel, sentinel.previous, element};
    static_cast<HostListNode*>(sentinel.previous)->next = &node;
    sentinel.previous = &node;
}

struct CStorageRegion {
    explicit CStorageRegion(const char* regionName) : name(regionName) {}
    CStorageRegion(const CStorageRegion&) = delete;  // The list points to where the region is.
    CStorageRegion& operator=(const CStorageRegion&) = delete;

    void Add(CStorageObject& object) { Append(objects, object.link, &object); }

    void* reserved = nullptr;  ///< One word of the host's own: the library looks for the list after it.
    HostListNode objects = {&objects, &objects, nullptr};
    HostListNode link{};
    std::string name;
};
static_assert(offsetof(CStorageRegion, objects) == sizeof(void*));

struct CDatabase {
    CDatabase() = default;
    CDatabase(const CDatabase&) = delete;
    CDatabase& operator=(const CDatabase&) = delete;

    void Add(CStorageRegion& region) { Append(regions, region.link, &region); }

    HostListNode regions = {&regions, &regions, nullptr};  ///< First, since the database itself is the sentinel.
    std::map<std::string, CVariable*, std::less<>> variableAt;
};

// ---- The database. No exception may get into the library, which would not let it through: what allocates catches.

namespace {

/// Calls `visit(path, variable)` for every variable of the object and of the objects in it. A path is made of names:
/// region/object/variable, with a further name for every object that is nested in the first.
template <class Visit>
void ForEachVariable(CStorageObject& object, const std::string& parentPath, const Visit& visit) {
    const std::string path = parentPath + '/' + object.name;
    for (CVariable& variable : object.variables) {
        visit(path + '/' + variable.name, variable);
        if (variable.type == VARIABLE_TYPE_OBJECT) {
            ForEachVariable(*static_cast<CStorageObject*>(variable.content), path, visit);
        } else if (variable.type == VARIABLE_TYPE_OBJECT_ARRAY) {
            for (std::uint32_t index = 0; index < variable.elementCount; ++index) {
                ForEachVariable(*static_cast<CStorageObject**>(variable.content)[index], path, visit);
            }
        }
    }
}

template <class Visit>
void ForEachVariable(CDatabase& database, const Visit& visit) {
    for (HostListNode* node = database.regions.next; node != &database.regions; node = node->next) {
        auto& region = *static_cast<CStorageRegion*>(node->element);
        for (HostListNode* inner = region.objects.next; inner != &region.objects; inner = inner->next) {
            ForEachVariable(*static_cast<CStorageObject*>(inner->element), region.name, visit);
        }
    }
}

/// The library never writes to a name; that the pointer is not to const is how the contract has it.
QBFResult HandOutName(const std::string& hostName, char** name) {
    *name = const_cast<char*>(hostName.c_str());
    return QBF_OK;
}

}  // namespace

QBFResult CDatabase_UpdatePathHashTable(CDatabase* database) try {
    database->variableAt.clear();
    ForEachVariable(*database, [=](const std::string& path, CVariable& variable) {
        database->variableAt.emplace(path, &variable);
    });
    return QBF_OK;
} catch (const std::bad_alloc&) {
    return QBF_E_FAILED;
}

QBFResult CDatabase_GetVariableByPath(CDatabase* database, const char* path, CVariable** variable) {
    // A string_view, so that a look-up allocates nothing.
    const auto found = database->variableAt.find(std::string_view(path));
    if (found == database->variableAt.end()) {
        return QBF_E_NOT_FOUND;
    }
    *variable = found->second;
    return QBF_OK;
}

QBFResult CDatabase_SetAsNotRetrieved(CDatabase* database) {
    for (const auto& entry : database->variableAt) {
        entry.second->isRetrieved = false;
    }
    return QBF_OK;
}

QBFResult CDatabase_SetNotRetrievedVariablesToDefault(CDatabase* database) {
    for (const auto& entry : database->variableAt) {
        const CVariable& variable = *entry.second;
        if (!variable.isRetrieved && !variable.defaultBytes.empty()) {
            std::memcpy(variable.content, variable.defaultBytes.data(), variable.sizeInBytes);
        }
    }
    return QBF_OK;
}

// ---- Regions, objects and variables. The four functions above and the first one here have C++ linkage, all others C
// ---- linkage; the declarations in HostDatabase.h see to that.

QBFResult CStorageRegion_GetName(CStorageRegion* region, char** name) {
    return HandOutName(region->name, name);
}

QBFResult CStorageObject_GetName(CStorageObject* object, char** name) {
    return HandOutName(object->name, name);
}

int CStorageObject_IsWritable(CStorageObject* object) {
    return object->isWritable ? 1 : 0;
}

QBFResult CStorageObject_GetVariableIterator(CStorageObject* object, HostIterator* iterator) {
    *iterator = object->variables.data();
    return object->variables.empty() ? QBFResult{QBF_W_END_OF_VARIABLES} : QBFResult{QBF_OK};
}

/// The last variable comes with QBF_W_END_OF_VARIABLES, not a call later.
QBFResult CStorageObject_GetNextVariable(CStorageObject* object, CVariable** variable, HostIterator* iterator) {
    auto* const current = static_cast<CVariable*>(*iterator);
    *variable = current;
    *iterator = current + 1;
    return current == &object->variables.back() ? QBFResult{QBF_W_END_OF_VARIABLES} : QBFResult{QBF_OK};
}

QBFResult CVariable_GetName(CVariable* variable, char** name) {
    return HandOutName(variable->name, name);
}

VariableType CVariable_GetType(CVariable* variable) {
    return variable->type;
}

uint32_t CVariable_GetNoOfElements(CVariable* variable) {
    return variable->elementCount;
}

uint32_t CVariable_GetSizeInBytes(CVariable* variable) {
    return variable->sizeInBytes;
}

QBFResult CVariable_GetContentAddress(CVariable* variable, void** address) {
    *address = variable->content;
    return QBF_OK;
}

QBFResult CVariable_SetRetrieved(CVariable* variable, int retrieved) {
    variable->isRetrieved = retrieved != 0;
    return QBF_OK;
}

// ---- The list in which the XML reader collects the elements of an array. The library constructs it in memory of its
// ---- own, 16 words, and may ask a list that was never constructed, all zero, or destructed, whether it is empty.

struct CList {
    struct Node {
        void* item;
        Node* next;
    };
    Node* head;
    Node* tail;
};
static_assert(sizeof(CList) <= 16 * sizeof(void*));

QBFResult CList_Construct(CList* list) {
    *list = {nullptr, nullptr};
    return QBF_OK;
}

QBFResult CList_PushTail(CList* list, void* item) {
    auto* const node = new (std::nothrow) CList::Node{item, nullptr};
    if (node == nullptr) {
        return QBF_E_FAILED;
    }
    (list->head == nullptr ? list->head : list->tail->next) = node;
    list->tail = node;
    return QBF_OK;
}

QBFResult CList_StartIterationFromHead(CList* list, HostIterator* iterator) {
    *iterator = list->head;
    return list->head == nullptr ? QBFResult{QBF_W_END_OF_LIST} : QBFResult{QBF_OK};
}

QBFResult CList_GetNext(CList* /*list*/, void** item, HostIterator* iterator) {
    const auto* const node = static_cast<const CList::Node*>(*iterator);
    if (node == nullptr) {
        return QBF_E_NO_NAME;
    }
    *item = node->item;
    *iterator = node->next;
    return node->next == nullptr ? QBFResult{QBF_W_END_OF_LIST} : QBFResult{QBF_OK};
}

/// The items belong to the library.
QBFResult CList_Destruct(CList* list) {
    for (CList::Node* node = list->head; node != nullptr;) {
        delete std::exchange(node, node->next);
    }
    *list = {nullptr, nullptr};
    return QBF_OK;
}

// ---- The trace comes from libbrqtrace, the board's or its stand-in. A host with a trace of its own defines DS_trace,
// ---- CPexTraceHandler_DmLevel2GtLevel, trace_begin, trace_printf and trace_end instead.

// ---- What this process keeps, and the database over it.

namespace {

struct Settings {
    std::uint32_t gain = 16;
    std::uint32_t isEnabled = 1;
    char label[16] = "north";
    float offsets[3] = {0.5F, 0.25F, 0.125F};
    std::uint16_t delays[2] = {10, 20};
    std::uint32_t serialNumber = 4711;
};

struct SettingsDatabase {
    explicit SettingsDatabase(Settings& settings) {
        radio.Add("Gain", VARIABLE_TYPE_U32, settings.gain);
        radio.Add("IsEnabled", VARIABLE_TYPE_BOOL, settings.isEnabled);
        radio.Add("Label", VARIABLE_TYPE_STRING, settings.label);
        radio.Add("Offsets", VARIABLE_TYPE_FLOAT_ARRAY, settings.offsets);
        radio.AddObjectArray("Lanes", lanes);
        lane0.Add("Delay", VARIABLE_TYPE_U16, settings.delays[0]);
        lane1.Add("Delay", VARIABLE_TYPE_U16, settings.delays[1]);
        factory.Add("SerialNumber", VARIABLE_TYPE_U32, settings.serialNumber);
        config.Add(radio);
        config.Add(factory);
        database.Add(config);
    }

    CStorageObject lane0 = {"Lane0", true, {}};
    CStorageObject lane1 = {"Lane1", true, {}};
    CStorageObject* lanes[2] = {&lane0, &lane1};
    CStorageObject radio = {"Radio", true, {}};
    CStorageObject factory = {"Factory", false, {}};
    CStorageRegion config{"Config"};
    CDatabase database;
};

struct Provider {
    const char* name;
    QBFResult (*getInterface)(IStorageProvider** out);
    void (*setFile)(const char* calibration);
    const char* file;  ///< Of location 0, the calibration database.
};

// The setters of the binary providers take no null: a host with other locations gives their names, too.
constexpr Provider kProviders[] = {
    {"XML", CXmlFileStorageProvider_GetInterface,
     [](const char* file) {
         CXmlFileStorageProviderBase_SetStorageFilenames(file, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                         nullptr, nullptr, nullptr);
     },
     "small-host.xml"},
    {"binary", CBinaryFileStorageProvider_GetInterface,
     [](const char* file) { CBinaryFileStorageProvider_SetStorageFilenames(file, "", ""); }, "small-host.bin"},
    {"secure", CSecureBinaryFileStorageProvider_GetInterface,
     [](const char* file) { CSecureBinaryFileStorageProvider_SetStorageFilenames(file, "", ""); }, "small-host.sbin"},
};

bool Report(const char* provider, const char* what, bool isAsExpected) {
    std::printf("%s: %s: %s\n", provider, what, isAsExpected ? "yes" : "NO");
    return isAsExpected;
}

/// What the checker finds is what a provider would crash on, or silently get wrong.
bool KeepsEveryRule(CDatabase& database) {
    const std::vector<tal::HostFinding> findings = tal::CheckHost(&database);
    for (const tal::HostFinding& finding : findings) {
        std::fprintf(stderr, "%s\n", tal::ToText(finding).c_str());
    }
    return findings.empty();
}

bool HoldsChanges(const Settings& settings) {
    return settings.gain == 99 && settings.isEnabled == 0 && std::string_view(settings.label) == "south" &&
           settings.offsets[0] == 0.5F && settings.offsets[2] == -1.5F && settings.delays[0] == 10 &&
           settings.delays[1] == 300 && settings.serialNumber == 4711;
}

bool HoldsDefaults(const Settings& settings) {
    return settings.gain == 16 && settings.isEnabled == 1 && std::string_view(settings.label) == "north" &&
           settings.offsets[2] == 0.125F && settings.delays[1] == 20 && settings.serialNumber == 4711;
}

bool StoreAndRestore(const Provider& choice) {
    // The order holds for every provider: the entry point of the XML provider sets names of its own, and so does
    // Initialize of the others.
    IStorageProvider* provider = nullptr;
    choice.getInterface(&provider);
    provider->Initialize(0);
    choice.setFile(choice.file);

    Settings settings;
    SettingsDatabase host(settings);
    settings.gain = 99;
    settings.isEnabled = 0;
    std::strcpy(settings.label, "south");
    settings.offsets[2] = -1.5F;
    settings.delays[1] = 300;
    bool isFine = Report(choice.name, "stored", !QBF_IsFailure(provider->StoreAll(0, &host.database, 0)));

    settings = {0, 0, "", {}, {}, 0};
    isFine &= Report(choice.name, "restored", !QBF_IsFailure(provider->RetrieveAll(0, &host.database, 0)));
    isFine &= Report(choice.name, "holds what was stored", HoldsChanges(settings));

    std::remove(choice.file);
    isFine &= Report(choice.name, "without its file fails", QBF_IsFailure(provider->RetrieveAll(0, &host.database, 0)));
    isFine &= Report(choice.name, "without its file holds the defaults", HoldsDefaults(settings));
    return isFine;
}

}  // namespace

int main() {
    Settings settings;
    SettingsDatabase host(settings);
    bool isFine = Report("the host", "keeps every rule", KeepsEveryRule(host.database));
    for (const Provider& provider : kProviders) {
        isFine &= StoreAndRestore(provider);
    }
    return isFine ? 0 : 1;
}
