#include "settings.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "Device/DeviceSupport/DeviceSupport.h"

// ---- The host's types.

struct CVariable {
    const char* name;
    VariableType type;
    uint32_t elementCount;
    uint32_t sizeInBytes;
    void* content;
    const void* defaultContent;  // Null for what holds objects.
    int isRetrieved;
};

struct CStorageObject {
    const char* name;
    int isWritable;
    CVariable* variables;
    uint32_t variableCount;
};

struct CStorageRegion {
    void* reserved;  // The library looks for the list one word after the beginning.
    HostListNode objects;
    const char* name;
};

struct CDatabase {
    HostListNode regions;  // First, since the database itself is the sentinel.
};

// ---- The tree: Config/Radio/Gain and so on, and Config/Radio/Lane0/Delay. All of it is static.

struct Settings settings;
static const struct Settings defaults = {16, 1, "north", {0.5F, 0.25F, 0.125F}, {10, 20}};

#define COUNT(array) (sizeof(array) / sizeof *(array))
#define SCALAR(name, type, member) \
    { name, type, 1, sizeof settings.member, &settings.member, &defaults.member, 0 }
#define ARRAY(name, type, member) \
    { name, type, COUNT(settings.member), sizeof settings.member, settings.member, defaults.member, 0 }

static CVariable lane0Variables[] = {SCALAR("Delay", VARIABLE_TYPE_U16, delays[0])};
static CVariable lane1Variables[] = {SCALAR("Delay", VARIABLE_TYPE_U16, delays[1])};
static CStorageObject lane0 = {"Lane0", 1, lane0Variables, COUNT(lane0Variables)};
static CStorageObject lane1 = {"Lane1", 1, lane1Variables, COUNT(lane1Variables)};
enum { LANE_COUNT = 2 };
static CStorageObject* lanes[LANE_COUNT] = {&lane0, &lane1};

static CVariable radioVariables[] = {
    SCALAR("Gain", VARIABLE_TYPE_U32, gain),
    SCALAR("IsEnabled", VARIABLE_TYPE_BOOL, isEnabled),
    ARRAY("Label", VARIABLE_TYPE_STRING, label),
    ARRAY("Offsets", VARIABLE_TYPE_FLOAT_ARRAY, offsets),
    {"Lanes", VARIABLE_TYPE_OBJECT_ARRAY, LANE_COUNT, sizeof lanes, lanes, NULL, 0},
};
static CStorageObject radio = {"Radio", 1, radioVariables, COUNT(radioVariables)};

// Each list has one node, which leads to the sentinel and from which the sentinel leads back.
static CStorageRegion config;
static HostListNode radioNode = {&config.objects, NULL, &radio};
static CStorageRegion config = {NULL, {&radioNode, NULL, NULL}, "Config"};
static CDatabase wholeDatabase;
static HostListNode configNode = {&wholeDatabase.regions, NULL, &config};
static CDatabase wholeDatabase = {{&configNode, NULL, NULL}};
_Static_assert(offsetof(CStorageRegion, objects) == sizeof(void*), "one reserved word");

CDatabase* SettingsDatabase(void) {
    return &wholeDatabase;
}

// ---- Walking it.

typedef void (*Visit)(CVariable* variable, const char* path, void* context);

static void VisitObject(CStorageObject* object, const char* prefix, Visit visit, void* context) {
    for (CVariable* variable = object->variables; variable != object->variables + object->variableCount; ++variable) {
        char path[128];
        snprintf(path, sizeof path, "%s/%s/%s", prefix, object->name, variable->name);
        visit(variable, path, context);
        if (variable->type == VARIABLE_TYPE_OBJECT_ARRAY) {
            // The elements' names stand in the path, the name of the array does not.
            snprintf(path, sizeof path, "%s/%s", prefix, object->name);
            for (uint32_t i = 0; i < variable->elementCount; ++i) {
                VisitObject(((CStorageObject**)variable->content)[i], path, visit, context);
            }
        }
    }
}

static void VisitAll(Visit visit, void* context) {
    VisitObject(&radio, config.name, visit, context);
}

struct Search {
    const char* path;
    CVariable* found;
};

static void Compare(CVariable* variable, const char* path, void* context) {
    struct Search* const search = context;
    if (strcmp(path, search->path) == 0) {
        search->found = variable;
    }
}

static void ClearMark(CVariable* variable, const char* path, void* context) {
    (void)path;
    (void)context;
    variable->isRetrieved = 0;
}

static void SetDefault(CVariable* variable, const char* path, void* context) {
    (void)path;
    (void)context;
    if (!variable->isRetrieved && variable->defaultContent != NULL) {
        memcpy(variable->content, variable->defaultContent, variable->sizeInBytes);
    }
}

// ---- The contract. HostDatabase.h gives the first five their symbols.

QBFResult CDatabase_UpdatePathHashTable(CDatabase* database) {
    (void)database;  // A few variables are found by walking; a large database keeps a table.
    return QBF_OK;
}

QBFResult CDatabase_GetVariableByPath(CDatabase* database, const char* path, CVariable** variable) {
    (void)database;
    struct Search search = {path, NULL};
    VisitAll(Compare, &search);
    if (search.found == NULL) {
        return QBF_E_NOT_FOUND;
    }
    *variable = search.found;
    return QBF_OK;
}

QBFResult CDatabase_SetAsNotRetrieved(CDatabase* database) {
    (void)database;
    VisitAll(ClearMark, NULL);
    return QBF_OK;
}

QBFResult CDatabase_SetNotRetrievedVariablesToDefault(CDatabase* database) {
    (void)database;
    VisitAll(SetDefault, NULL);
    return QBF_OK;
}

// The library never writes to a name.
static QBFResult HandOutName(const char* hostName, char** name) {
    *name = (char*)hostName;
    return QBF_OK;
}

QBFResult CStorageRegion_GetName(CStorageRegion* region, char** name) {
    return HandOutName(region->name, name);
}

QBFResult CStorageObject_GetName(CStorageObject* object, char** name) {
    return HandOutName(object->name, name);
}

int CStorageObject_IsWritable(CStorageObject* object) {
    return object->isWritable;
}

QBFResult CStorageObject_GetVariableIterator(CStorageObject* object, HostIterator* iterator) {
    *iterator = object->variables;
    return object->variableCount == 0 ? (QBFResult)QBF_W_END_OF_VARIABLES : (QBFResult)QBF_OK;
}

// The last variable comes with QBF_W_END_OF_VARIABLES, not a call later.
QBFResult CStorageObject_GetNextVariable(CStorageObject* object, CVariable** variable, HostIterator* iterator) {
    *variable = *iterator;
    *iterator = *variable + 1;
    const int isLast = *variable + 1 == object->variables + object->variableCount;
    return isLast ? (QBFResult)QBF_W_END_OF_VARIABLES : (QBFResult)QBF_OK;
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

// ---- The list of the XML reader, in 16 words of the library's memory. All zero is an empty one.

struct Node {
    struct Node* next;
    void* item;
};

struct CList {
    struct Node* head;
    struct Node* tail;
};

QBFResult CList_Construct(CList* list) {
    list->head = NULL;
    list->tail = NULL;
    return QBF_OK;
}

QBFResult CList_PushTail(CList* list, void* item) {
    struct Node* const node = malloc(sizeof *node);
    if (node == NULL) {
        return QBF_E_FAILED;
    }
    node->next = NULL;
    node->item = item;
    if (list->head == NULL) {
        list->head = node;
    } else {
        list->tail->next = node;
    }
    list->tail = node;
    return QBF_OK;
}

QBFResult CList_StartIterationFromHead(CList* list, HostIterator* iterator) {
    *iterator = list->head;
    return list->head == NULL ? (QBFResult)QBF_W_END_OF_LIST : (QBFResult)QBF_OK;
}

QBFResult CList_GetNext(CList* list, void** item, HostIterator* iterator) {
    (void)list;
    const struct Node* const node = *iterator;
    *item = node->item;
    *iterator = node->next;
    return node->next == NULL ? (QBFResult)QBF_W_END_OF_LIST : (QBFResult)QBF_OK;
}

// The items belong to the library.
QBFResult CList_Destruct(CList* list) {
    while (list->head != NULL) {
        struct Node* const node = list->head;
        list->head = node->next;
        free(node);
    }
    list->tail = NULL;
    return QBF_OK;
}
