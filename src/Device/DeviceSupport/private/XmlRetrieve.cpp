/// The reader of XML storage documents: three parser callbacks over the provider's state.

#include <expat.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "Device/DeviceSupport/private/CXmlFileStorageProviderBase.h"
#include "Device/DeviceSupport/private/XmlElementTexts.h"
#include "Device/DeviceSupport/private/XmlValues.h"

namespace tal::xml {

namespace {

void RestoreVariable(CVariable* variable, const char* path) {
    const VariableType typeCode = CVariable_GetType(variable);
    const std::uint32_t elementCount = CVariable_GetNoOfElements(variable);
    void* content = nullptr;
    const QBFResult result = GetContent(variable, WritesContent(typeCode, elementCount), &content);
    if (QBF_IsFailure(result)) {
        DS_TRACE(XmlTraces, kUpdateVariable, result, "Could not get content address");
        DS_TRACE(XmlTraces, kUpdateVariable, QBF_E_FAILED, "Failed to update variable with path %s", path);
        return;
    }
    if (!ConvertVariable(typeCode, content, elementCount)) {
        state.retrievalError = 1;
    }
    // After the first failed variable of a document, later ones get their values but stay not retrieved.
    if (state.retrievalError == 0) {
        CVariable_SetRetrieved(variable, 1);
    }
}

/// The concrete channel number stays in the channel part of a variable's name, while its other parts carry an X.
void InjectChannelIntoVariableName() {
    RemoveChannel(state.VariableNameBuffer, kLowerChannelPattern);
    ReplaceFirst(state.VariableNameBuffer, NameScratchBuffer, kLowerChannelPattern.placeholder,
                 kLowerChannelPattern.ForChannel(state.channelInjector).View());
    RemoveChannel(state.VariableNameBuffer, kUpperChannelPattern);
    RemoveChannel(state.VariableNameBuffer, kRadioFramePattern);
    DS_TRACE(XmlTraces, kUpdateVariable, QBF_I_DETAIL, "Variable after channel injection: %s",
             state.VariableNameBuffer);
}

void UpdateVariable() {
    if (state.channelInjector != 0) {
        InjectChannelIntoVariableName();
    }
    char path[kPathSize + kNameSize];
    JoinPath(path, state.pathAt[state.depth], state.VariableNameBuffer);
    DS_TRACE(XmlTraces, kUpdateVariable, QBF_I_DETAIL, "Variable path %s", path);
    CVariable* const variable = FindVariable(state.database, path);
    if (variable == nullptr) {
        DS_TRACE(XmlTraces, kUpdateVariable, QBF_I_DETAIL, "    File %s contains variable that is not registered (%s)",
                 state.CurrentFileName, path);
        return;
    }
    RestoreVariable(variable, path);
    EmptyElementList();
}

/// @return the value of the attribute "name", or null.
const char* GetAttribute(const char** attributes) {
    for (; attributes[0] != nullptr; attributes += 2) {
        if (std::strcmp(attributes[0], "name") == 0) {
            return attributes[1];
        }
    }
    DS_TRACE(XmlTraces, kGetAttribute, QBF_E_NOT_FOUND, "Can't find XML attribute with name %s", "name");
    return nullptr;
}

/// Replaces the pattern's channel number in `name` by its placeholder; a name that is changed is cut to `rewritten`.
/// @return `name` itself when the pattern is not in it.
template <std::size_t Size>
const char* WithoutChannel(const char* name, const ChannelPattern& pattern, char (&rewritten)[Size]) {
    if (!BuildReplacement(NameScratchBuffer, name, pattern.ForChannel(state.channelInjector).View(),
                          pattern.placeholder)) {
        return name;
    }
    CopyBounded(rewritten, NameScratchBuffer);
    return rewritten;
}

bool IsWithinLevels(std::uint32_t depth) {
    return depth < kPathLevels;
}

/// Starts a level, without a path: nothing of an earlier sibling is left in it.
void OpenLevel() {
    state.objectElementAt[state.depth] = 0;
    state.openArraysAt[state.depth] = 0;
    state.isNamelessAt[state.depth] = 1;
}

bool HasPath(std::uint32_t depth) {
    return state.isNamelessAt[depth] == 0;
}

void StartRegion(const char** attributes) {
    state.depth = 0;
    OpenLevel();
    const char* name = GetAttribute(attributes);
    if (name == nullptr) {
        return;
    }
    char rewritten[kRegionNameSize];
    if (state.channelInjector != 0) {
        name = WithoutChannel(name, kRadioFramePattern, rewritten);
        DS_TRACE(XmlTraces, kStartElement, QBF_I_INFO, "Region after channel injection: %s", name);
    }
    CopyBounded(state.pathAt[0], name);
    state.isNamelessAt[0] = 0;
    DS_TRACE(XmlTraces, kStartElement, QBF_I_INFO, "Processing region: %s", name);
}

void StartObject(const char** attributes) {
    ++state.depth;
    if (!IsWithinLevels(state.depth)) {
        return;
    }
    OpenLevel();
    const char* name = GetAttribute(attributes);
    if (name == nullptr || !HasPath(state.depth - 1)) {
        return;
    }
    const char* const parentPath = state.pathAt[state.depth - 1];
    char rewritten[kNameSize];
    if (state.channelInjector != 0) {
        name = WithoutChannel(name, kUpperChannelPattern, rewritten);
        name = WithoutChannel(name, kRadioFramePattern, rewritten);
        DS_TRACE(XmlTraces, kStartElement, QBF_I_INFO, "Object after channel injection: %s", name);
    }
    JoinPath(state.pathAt[state.depth], parentPath, name);
    state.isNamelessAt[state.depth] = 0;
    DS_TRACE(XmlTraces, kStartElement, QBF_I_INFO, "Processing object: %s with path %s", name, parentPath);
}

void StartArray(const char** /*attributes*/) {
    if (IsWithinLevels(state.depth) && state.openArraysAt[state.depth]++ == 0) {
        state.objectElementAt[state.depth] = 0;
    }
    RenewElementList();
}

void StartObjectElement(const char** /*attributes*/) {
    if (IsWithinLevels(state.depth)) {
        state.objectElementAt[state.depth] = 1;
    }
}

/// Whether the innermost open variable is the one in VariableNameBuffer.
bool IsWithinOuterVariables() {
    return state.openVariables <= kOuterVariables + 1;
}

/// Makes the variable the current one and keeps the name of the one around it, unless too many are.
void OpenVariable(const char* name) {
    ++state.openVariables;
    if (!IsWithinOuterVariables()) {
        return;
    }
    if (state.openVariables > 1) {
        OuterVariable& outer = state.outerVariables[state.openVariables - 2];
        outer.isNameless = state.isVariableNameless;
        CopyBounded(outer.name, state.VariableNameBuffer);
    }
    state.isVariableNameless = name == nullptr ? 1 : 0;
    CopyBounded(state.VariableNameBuffer, name == nullptr ? "" : name);
}

/// The variable around the one that ends is the current one again.
void CloseVariable() {
    if (IsWithinOuterVariables() && state.openVariables > 1) {
        const OuterVariable& outer = state.outerVariables[state.openVariables - 2];
        state.isVariableNameless = outer.isNameless;
        CopyBounded(state.VariableNameBuffer, outer.name);
    }
    --state.openVariables;
}

/// A variable that is not restored because too much is around it.
void ReportTooDeep(const char* name, std::uint32_t depth, const char* around, std::uint32_t most) {
    char shownName[kNameSize];
    CopyBounded(shownName, name);
    DS_TRACE(XmlTraces, kStartElement, QBF_E_FAILED,
             "Variable %s is nested too deep: inside %d %s, at most %d are supported", shownName,
             static_cast<int>(depth), around, static_cast<int>(most));
    state.retrievalError = 1;
}

void StartVariable(const char** attributes) {
    state.typeText[0] = '\0';
    state.sizeText[0] = '\0';
    state.valueText[0] = '\0';
    const char* const name = GetAttribute(attributes);
    OpenVariable(name);
    if (name == nullptr) {
        return;
    }
    if (!IsWithinLevels(state.depth)) {
        ReportTooDeep(name, state.depth, "objects", kPathLevels - 1);
        return;
    }
    if (!IsWithinOuterVariables()) {
        ReportTooDeep(name, state.openVariables - 1, "variables", kOuterVariables);
        return;
    }
    if (HasPath(state.depth)) {
        DS_TRACE(XmlTraces, kStartElement, QBF_I_DETAIL, "Processing variable: %s with path %s",
                 state.VariableNameBuffer, state.pathAt[state.depth]);
    }
}

void EndObject() {
    // A region inside an object has taken the depth back already.
    if (state.depth > 0) {
        --state.depth;
    }
}

/// Members of object elements are over: what follows belongs to the array variable again.
void EndArray() {
    if (!IsWithinLevels(state.depth) || state.openArraysAt[state.depth] == 0) {
        return;
    }
    if (--state.openArraysAt[state.depth] == 0) {
        state.objectElementAt[state.depth] = 0;
    }
}

void EndVariable() {
    const bool isRestorable = IsWithinOuterVariables() && state.isVariableNameless == 0 &&
                              IsWithinLevels(state.depth) && HasPath(state.depth) &&
                              state.objectElementAt[state.depth] == 0;
    if (isRestorable) {
        UpdateVariable();
    }
    CloseVariable();
}

void EndType() {
    CopyBounded(state.typeText, state.characterData);
}

void EndSize() {
    CopyBounded(state.sizeText, state.characterData);
}

void EndValue() {
    CopyBounded(state.valueText, state.characterData);
}

void EndArrayElement() {
    AddElementText(state.characterData);
}

struct StartHandler {
    std::string_view element;
    void (*handle)(const char** attributes);
};

struct EndHandler {
    std::string_view element;
    void (*handle)();
};

constexpr StartHandler kStartHandlers[] = {{"variable", StartVariable},
                                           {"array", StartArray},
                                           {"object", StartObject},
                                           {"objectElement", StartObjectElement},
                                           {"region", StartRegion}};

constexpr EndHandler kEndHandlers[] = {
    {"type", EndType}, {"value", EndValue}, {"variable", EndVariable}, {"element", EndArrayElement},
    {"size", EndSize}, {"array", EndArray}, {"object", EndObject}};

template <class Handler, std::size_t Count>
const Handler* FindHandler(const Handler (&handlers)[Count], std::string_view element) {
    for (const Handler& handler : handlers) {
        if (handler.element == element) {
            return &handler;
        }
    }
    return nullptr;
}

void XMLCALL StartElement(void* /*userData*/, const char* name, const char** attributes) {
    if (const StartHandler* const handler = FindHandler(kStartHandlers, name)) {
        handler->handle(attributes);
    }
}

void XMLCALL EndElement(void* /*userData*/, const char* name) {
    if (const EndHandler* const handler = FindHandler(kEndHandlers, name)) {
        handler->handle();
    }
}

/// Keeps the last chunk of text only: chunks are not joined, and start tags do not clear it.
void XMLCALL CharacterData(void* /*userData*/, const char* text, int length) {
    constexpr std::size_t kLongestChunk = kTextSize - 2;
    const std::size_t kept = std::min(static_cast<std::size_t>(length), kLongestChunk);
    std::memcpy(state.characterData, text, kept);
    state.characterData[kept] = '\0';
}

/// What is no regular file does not tell how much it holds, and need not end.
std::size_t LargestDocumentOf(std::FILE* file) {
    constexpr std::size_t kLargestDocumentOfADevice = std::size_t{64} * 1024 * 1024;
    struct stat status = {};
    const bool isRegular = fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode);
    return isRegular ? std::size_t{kLargestDocument} : kLargestDocumentOfADevice;
}

/// Doubles readBuffer, up to `largest`.
/// @return false when it is that large already or there is no memory; it is then unchanged.
bool GrowReadBuffer(std::size_t& capacity, std::size_t largest) {
    if (capacity >= largest) {
        return false;
    }
    const std::size_t larger = capacity + std::min(capacity, largest - capacity);
    char* const buffer = new (std::nothrow) char[larger];
    if (buffer == nullptr) {
        return false;
    }
    std::memcpy(buffer, state.readBuffer, capacity);
    ReleaseReadBuffer();
    state.readBuffer = buffer;
    capacity = larger;
    return true;
}

/// Reads the file to its end, in one read as long as it holds what `stat` told. It holds more when it has grown or
/// another one has taken its place since, and when it is a pipe.
[[nodiscard]] QBFResult ReadFile(std::FILE* file, std::size_t& length) {
    std::size_t capacity = std::size_t{state.fileSize} + kReadBufferSlack;
    bool hasRoom = state.readBuffer != nullptr;
    length = 0;
    while (hasRoom) {
        length += std::fread(state.readBuffer + length, 1, capacity - length, file);
        if (std::ferror(file) != 0) {
            DS_TRACE(XmlTraces, kManageRetrieve, QBF_E_FAILED, "Read error from XML file");
            return QBF_E_FAILED;
        }
        if (std::feof(file) != 0) {
            return QBF_OK;
        }
        hasRoom = length < capacity || GrowReadBuffer(capacity, LargestDocumentOf(file));
    }
    DS_TRACE(XmlTraces, kManageRetrieve, QBF_E_FAILED, "XML file %s does not fit into memory", state.CurrentFileName);
    return QBF_E_FAILED;
}

/// In one call: a text on the border between two pieces would come in two chunks, of which only the last one is kept.
[[nodiscard]] QBFResult ParseDocument(XML_Parser parser, std::size_t length) {
    XML_SetElementHandler(parser, StartElement, EndElement);
    XML_SetCharacterDataHandler(parser, CharacterData);
    if (XML_Parse(parser, state.readBuffer, static_cast<int>(length), 1) == XML_STATUS_ERROR) {
        DS_TRACE(XmlTraces, kManageRetrieve, QBF_E_FAILED, "Parse error in file %s at line %d:\n%s\n",
                 state.CurrentFileName, static_cast<int>(XML_GetCurrentLineNumber(parser)),
                 XML_ErrorString(XML_GetErrorCode(parser)));
        return QBF_E_FAILED;
    }
    return QBF_OK;
}

[[nodiscard]] QBFResult ReadDocument(std::FILE* file) {
    XML_Parser parser = XML_ParserCreate(nullptr);
    if (parser == nullptr) {
        DS_TRACE(XmlTraces, kManageRetrieve, QBF_E_FAILED, "Could not create XML file parser");
        return QBF_E_FAILED;
    }
    std::size_t length = 0;
    QBFResult result = ReadFile(file, length);
    if (!QBF_IsFailure(result)) {
        result = ParseDocument(parser, length);
    }
    XML_ParserFree(parser);
    ReleaseLeftElementTexts();
    return result;
}

[[nodiscard]] QBFResult PrepareDatabase() {
    if (QBF_IsFailure(CDatabase_UpdatePathHashTable(state.database))) {
        DS_TRACE(XmlTraces, kManageRetrieve, QBF_E_FAILED, "Error when updating hash table in CDatabase");
        return QBF_E_FAILED;
    }
    if (QBF_IsFailure(CDatabase_SetAsNotRetrieved(state.database))) {
        DS_TRACE(XmlTraces, kManageRetrieve, QBF_E_FAILED, "Error when setting Database as not retrieved");
        return QBF_E_FAILED;
    }
    return QBF_OK;
}

/// @return QBF_E_FAILED and a record when the flag is set.
[[nodiscard]] QBFResult ReportErrors(std::uint32_t flag, const char* message) {
    if (flag == 0) {
        return QBF_OK;
    }
    DS_TRACE(XmlTraces, kManageRetrieve, QBF_E_FAILED, "%s", message);
    return QBF_E_FAILED;
}

[[nodiscard]] QBFResult OpenOrDefault(StorageLocation location, std::FILE** file) {
    const QBFResult result = OpenFile(location, StorageOpenMode::Retrieve, file);
    if (!QBF_IsFailure(result)) {
        return QBF_OK;
    }
    DS_TRACE(XmlTraces, kManageRetrieve, result, "Could not open storage file %s (errno is: %d)", state.CurrentFileName,
             errno);
    ReleaseReadBuffer();
    if (QBF_IsFailure(CDatabase_SetNotRetrievedVariablesToDefault(state.database))) {
        DS_TRACE(XmlTraces, kManageRetrieve, QBF_E_FAILED, "Error when setting missing variables to default");
    }
    return QBF_E_NO_STORAGE_FILE;
}

[[nodiscard]] QBFResult ManageRetrieve(StorageLocation location) {
    state.retrievalError = 0;
    state.parseError = 0;
    state.retrieveFlag = 0;
    state.openVariables = 0;
    if (QBF_IsFailure(PrepareDatabase())) {
        return QBF_E_FAILED;
    }
    std::FILE* file = nullptr;
    const QBFResult opened = OpenOrDefault(location, &file);
    if (QBF_IsFailure(opened)) {
        return opened;
    }
    const QBFResult read = ReadDocument(file);
    std::fclose(file);
    ReleaseReadBuffer();
    if (QBF_IsFailure(read)) {
        return read;
    }
    DS_TRACE(XmlTraces, kManageRetrieve, QBF_I_INFO, "XML file closed for storage location %d",
             PrintableLocation(location));
    const QBFResult defaulted = CDatabase_SetNotRetrievedVariablesToDefault(state.database);
    if (QBF_IsFailure(defaulted)) {
        DS_TRACE(XmlTraces, kManageRetrieve, defaulted, "Error when setting missing variables to default");
        return QBF_E_FAILED;
    }
    const QBFResult parsed = ReportErrors(state.parseError, "Error(s) during XML Parsing");
    const QBFResult retrieved = ReportErrors(state.retrievalError, "Error(s) during variable retrieval");
    return QBF_IsFailure(parsed) ? parsed : retrieved;
}

}  // namespace

QBFResult RetrieveAll(StorageLocation location, CDatabase* database, unsigned long channelInjector) {
    state.database = database;
    state.channelInjector = channelInjector;
    DS_TRACE(XmlTraces, kRetrieveAll, QBF_I_INFO, "XmlFileStorageProviderBase: Retrieving all...");
    const QBFResult result = ManageRetrieve(location);
    if (QBF_IsFailure(result)) {
        DS_TRACE(XmlTraces, kRetrieveAll, result, "Error when calling ManageRetrieve");
        return QBF_E_FAILED;
    }
    return QBF_OK;
}

}  // namespace tal::xml
