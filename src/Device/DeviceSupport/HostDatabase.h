/// @file
/// The contract that a host process fulfils: its types, its type codes, and the functions that
/// `libTalDeviceSupport` imports from it.
///
/// Everything here belongs to the host. The library borrows what it is handed for the duration of one operation,
/// never creates, resizes or destroys any of it, and never writes to a name. The database must not change while an
/// operation runs. Usable from C and from C++, and a host may be written in either.
#ifndef TAL_HOST_DATABASE_H
#define TAL_HOST_DATABASE_H

#include <stdint.h>

/// A result of the host or of the library: 32 bits, a failure from 0x8000 up (QBF_IsFailure in DeviceSupport.h). A
/// name, a variable, an object or a needed content address that a function leaves unset or sets to null has not been
/// handed out, whatever the result says; an iterator may be null.
typedef unsigned long QBFResult;

/// The whole database. Its first word is the sentinel of the list of regions (see HostListNode).
typedef struct CDatabase CDatabase;
/// The top level of the tree: one word that the library never touches, then the sentinel word of its list of objects.
typedef struct CStorageRegion CStorageRegion;
/// An object in a region or in another object; reached only through the functions below.
typedef struct CStorageObject CStorageObject;
/// One variable: name, type, element count, size, content address and a retrieved mark.
typedef struct CVariable CVariable;
/// A list of opaque items. The library keeps 16 words, aligned for any type, in which the host constructs one.
typedef struct CList CList;

/// One word of iteration state. The host gives it its meaning, the library only keeps it between calls.
typedef void* HostIterator;

/// A node of a region or object list, read directly by the library, which checks no link: they lead around to the
/// sentinel and are never null. An element that is null, like one of an object array, is outside the contract and
/// counts as one without a name.
///
/// Both lists are circular with a sentinel. The sentinel's first word points to the first node; the sentinel of an
/// empty list points to itself; the last node points to the sentinel.
///  - Regions: the sentinel is the CDatabase itself, elements are `CStorageRegion*`.
///  - Objects of a region: the sentinel is the region's second word, elements are `CStorageObject*`.
typedef struct HostListNode {
    struct HostListNode* next;
    void* previous;  ///< Not used by the library.
    void* element;
} HostListNode;

/// Result codes with which the host's iteration functions end.
enum HostIterationCode {
    /// From CList_StartIterationFromHead: the list is empty. From CList_GetNext: this item is the last one.
    QBF_W_END_OF_LIST = 0x1002,
    /// From CStorageObject_GetVariableIterator: there is no variable. From CStorageObject_GetNextVariable: this one is
    /// the last one.
    QBF_W_END_OF_VARIABLES = 0x1004
};

/// What lies at a variable's content address. Multi-byte values are in host byte order.
typedef uint32_t VariableType;
enum VariableTypeCode {
    VARIABLE_TYPE_U8 = 0,
    VARIABLE_TYPE_U8_ARRAY = 1,
    VARIABLE_TYPE_U16 = 2,
    VARIABLE_TYPE_U16_ARRAY = 3,
    VARIABLE_TYPE_U32 = 4,
    VARIABLE_TYPE_U32_ARRAY = 5,
    VARIABLE_TYPE_S8 = 6,
    VARIABLE_TYPE_S8_ARRAY = 7,
    VARIABLE_TYPE_S16 = 8,
    VARIABLE_TYPE_S16_ARRAY = 9,
    VARIABLE_TYPE_S32 = 10,
    VARIABLE_TYPE_S32_ARRAY = 11,
    VARIABLE_TYPE_BOOL = 12,        ///< One 32-bit word; zero is false, any other value true.
    VARIABLE_TYPE_BOOL_ARRAY = 13,  ///< One 32-bit word per element.
    VARIABLE_TYPE_CHAR = 14,        ///< One unsigned 8-bit character.
    VARIABLE_TYPE_CHAR_ARRAY = 15,
    VARIABLE_TYPE_STRING = 16,  ///< NUL-terminated; the element count is the capacity, terminator included.
    VARIABLE_TYPE_FLOAT = 17,   ///< IEEE 754 single precision, 4 bytes.
    VARIABLE_TYPE_FLOAT_ARRAY = 18,
    VARIABLE_TYPE_DOUBLE = 19,  ///< IEEE 754 double precision, 8 bytes.
    VARIABLE_TYPE_DOUBLE_ARRAY = 20,
    VARIABLE_TYPE_OBJECT = 21,       ///< The content address itself is the nested `CStorageObject*`.
    VARIABLE_TYPE_OBJECT_ARRAY = 22  ///< An array of `CStorageObject*`, one pointer per element.
};

// Some symbols carry their parameter types. C++ makes them out of the declaration; C is told them as assembler labels.
#ifdef __cplusplus
#define TAL_ENCODED_SYMBOL(symbol)
#else
#define TAL_ENCODED_SYMBOL(symbol) __asm__(symbol)
#endif

/// Looks a variable up by "region/object/.../name".
/// @return a failure when the path is not registered; `*variable` is then not used.
QBFResult CDatabase_GetVariableByPath(CDatabase* database, const char* path, CVariable** variable)
    TAL_ENCODED_SYMBOL("_Z27CDatabase_GetVariableByPathP9CDatabasePKcPP9CVariable");

/// Makes path look-ups current. Called first in every retrieve.
QBFResult CDatabase_UpdatePathHashTable(CDatabase* database)
    TAL_ENCODED_SYMBOL("_Z29CDatabase_UpdatePathHashTableP9CDatabase");

/// Clears the retrieved mark of every variable. Called second in every retrieve.
QBFResult CDatabase_SetAsNotRetrieved(CDatabase* database)
    TAL_ENCODED_SYMBOL("_Z27CDatabase_SetAsNotRetrievedP9CDatabase");

/// Gives every variable that is not marked retrieved its default value. Called last in a retrieve, also when there was
/// no file to read, but not when a document or a secure file was given up: RetrieveAll in DeviceSupport.h has the
/// cases.
QBFResult CDatabase_SetNotRetrievedVariablesToDefault(CDatabase* database)
    TAL_ENCODED_SYMBOL("_Z43CDatabase_SetNotRetrievedVariablesToDefaultP9CDatabase");

/// Hands out the region's NUL-terminated name, valid while the database is unchanged.
QBFResult CStorageRegion_GetName(CStorageRegion* region, char** name)
    TAL_ENCODED_SYMBOL("_Z22CStorageRegion_GetNameP14CStorageRegionPPc");

#ifdef __cplusplus
extern "C" {
#endif

/// Hands out the object's NUL-terminated name, valid while the database is unchanged.
QBFResult CStorageObject_GetName(CStorageObject* object, char** name);

/// @return nonzero when the object is writable. The XML and secure providers store writable objects only.
int CStorageObject_IsWritable(CStorageObject* object);

/// Starts an iteration over the object's variables.
/// @return QBF_OK when at least one variable follows, QBF_W_END_OF_VARIABLES when there is none, or a failure.
QBFResult CStorageObject_GetVariableIterator(CStorageObject* object, HostIterator* iterator);

/// Hands out the next variable.
/// @return QBF_OK when more follow, QBF_W_END_OF_VARIABLES when this one is the last, or a failure. With a failure,
///         leave `*variable` alone: the XML store writes a variable that it finds there.
QBFResult CStorageObject_GetNextVariable(CStorageObject* object, CVariable** variable, HostIterator* iterator);

/// Hands out the variable's NUL-terminated name, valid while the database is unchanged.
QBFResult CVariable_GetName(CVariable* variable, char** name);

/// @return the variable's type code; cannot fail.
VariableType CVariable_GetType(CVariable* variable);

/// @return the number of elements of an array or object array, or the capacity of a string in bytes.
uint32_t CVariable_GetNoOfElements(CVariable* variable);

/// @return the size of the content in bytes.
uint32_t CVariable_GetSizeInBytes(CVariable* variable);

/// Hands out where the value lives; for VARIABLE_TYPE_OBJECT the nested `CStorageObject*` itself. Null is allowed for
/// an array without elements, of which nothing is read or written. The secure retrieve passes over any variable without
/// an address.
QBFResult CVariable_GetContentAddress(CVariable* variable, void** address);

/// Marks the variable as restored, so that defaulting leaves it alone. `retrieved` is always 1; the result is ignored.
QBFResult CVariable_SetRetrieved(CVariable* variable, int retrieved);

/// Constructs an empty list in `list`. The result is not tested.
QBFResult CList_Construct(CList* list);

/// Appends `item`, which stays owned by the caller.
QBFResult CList_PushTail(CList* list, void* item);

/// Starts an iteration at the head.
/// @return QBF_OK, QBF_W_END_OF_LIST for an empty list, or a failure. QBF_E_NO_NAME is taken for an empty list, too.
///         A list that has been destructed, or is all zero because it was never constructed, counts as empty.
QBFResult CList_StartIterationFromHead(CList* list, HostIterator* iterator);

/// Hands out the next item.
/// @return QBF_OK when more follow, QBF_W_END_OF_LIST when this one is the last, or a failure.
QBFResult CList_GetNext(CList* list, void** item, HostIterator* iterator);

/// Empties the list's own bookkeeping; its items have been freed by the caller. The result is not tested. A list may be
/// destructed again without having been constructed in between.
QBFResult CList_Destruct(CList* list);

#ifdef __cplusplus
}
#endif

#endif
