/// The writer of XML storage documents.

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>

#include "Device/DeviceSupport/private/CXmlFileStorageProviderBase.h"
#include "Device/DeviceSupport/private/HostWalk.h"
#include "Device/DeviceSupport/private/VariableTypes.h"

namespace tal::xml {

namespace {

using namespace std::string_view_literals;

StreamBuffer streamBuffer;

/// Collects the document's text in front of the stream, which has no buffer of its own. Write errors are not tested: of
/// a full disk nothing is reported but a failure to close the file.
class XmlOutput {
public:
    explicit XmlOutput(std::FILE* file) : file_(file) {}

    template <std::size_t Size>
    void Literal(const char (&text)[Size]) {
        constexpr std::size_t kLength = Size - 1;
        Reserve(kLength);
        std::memcpy(end_, text, kLength);
        end_ += kLength;
    }

    void Text(std::string_view text) {
        while (text.size() > Room()) {
            const std::size_t length = Room();
            Append(text.substr(0, length));
            Flush();
            text.remove_prefix(length);
        }
        Append(text);
    }

    template <class Number>
    void Integer(Number value) {
        constexpr std::size_t kLongestInteger = 11;
        Reserve(kLongestInteger);
        end_ = std::to_chars(end_, end_ + kLongestInteger, value).ptr;
    }

    /// As "%e" shows it, whatever the process's locale.
    void Real(double value) {
        constexpr std::size_t kLongestReal = 16;
        constexpr int kDigitsAfterThePoint = 6;
        Reserve(kLongestReal);
        end_ = std::to_chars(end_, end_ + kLongestReal, value, std::chars_format::scientific, kDigitsAfterThePoint).ptr;
    }

    void Flush() {
        std::fwrite(streamBuffer, 1, static_cast<std::size_t>(end_ - streamBuffer), file_);
        end_ = streamBuffer;
    }

private:
    [[nodiscard]] std::size_t Room() const { return static_cast<std::size_t>(std::end(streamBuffer) - end_); }

    void Reserve(std::size_t length) {
        if (Room() < length) {
            Flush();
        }
    }

    void Append(std::string_view text) {
        std::memcpy(end_, text.data(), text.size());
        end_ += text.size();
    }

    std::FILE* file_;
    char* end_ = streamBuffer;
};

template <class Number>
Number Load(const void* content, std::uint32_t index) {
    Number number;
    std::memcpy(&number, static_cast<const unsigned char*>(content) + index * sizeof number, sizeof number);
    return number;
}

std::int32_t LoadSigned(std::uint8_t width, const void* content, std::uint32_t index) {
    switch (width) {
        case 1:
            return Load<std::int8_t>(content, index);
        case 2:
            return Load<std::int16_t>(content, index);
        default:
            return Load<std::int32_t>(content, index);
    }
}

std::int32_t LoadUnsigned(std::uint8_t width, const void* content, std::uint32_t index) {
    switch (width) {
        case 1:
            return Load<std::uint8_t>(content, index);
        case 2:
            return Load<std::uint16_t>(content, index);
        default:
            // The format keeps 32-bit values as signed ones: 4294967295 is written "-1".
            return Load<std::int32_t>(content, index);
    }
}

void WriteElementValue(XmlOutput& output, const VariableTypeInfo& type, const void* content, std::uint32_t index) {
    switch (type.kind) {
        case ElementKind::Signed:
            output.Integer(LoadSigned(type.width, content, index));
            break;
        case ElementKind::Unsigned:
        case ElementKind::Char:
            output.Integer(LoadUnsigned(type.width, content, index));
            break;
        case ElementKind::Bool:
            output.Text(Load<std::uint32_t>(content, index) != 0 ? "TRUE"sv : "FALSE"sv);
            break;
        case ElementKind::Float:
            output.Real(type.width == sizeof(float) ? static_cast<double>(Load<float>(content, index))
                                                    : Load<double>(content, index));
            break;
        default:
            output.Text(static_cast<const char*>(content));
            break;
    }
}

QBFResult StoreObject(CStorageObject* object, XmlOutput& output);

void WriteObjectElements(XmlOutput& output, CStorageObject* const* elements, std::uint32_t elementCount) {
    for (std::uint32_t index = 0; index < elementCount; ++index) {
        output.Literal("<objectElement>");
        // A failing element neither stops the array nor fails its parent.
        static_cast<void>(StoreObject(elements[index], output));
        output.Literal("</objectElement>");
    }
}

void WriteArray(XmlOutput& output, const VariableTypeInfo& type, const void* content, std::uint32_t elementCount) {
    output.Literal("</type><size>");
    output.Integer(elementCount);
    output.Literal("</size><array>");
    if (type.kind == ElementKind::Object) {
        WriteObjectElements(output, static_cast<CStorageObject* const*>(content), elementCount);
    } else {
        for (std::uint32_t index = 0; index < elementCount; ++index) {
            output.Literal("<element>");
            WriteElementValue(output, type, content, index);
            output.Literal("</element>");
        }
    }
    output.Literal("</array>");
}

/// Writes what stands inside a variable element: the type, then the value or the array.
[[nodiscard]] QBFResult WriteVariable(XmlOutput& output, CVariable* variable) {
    const VariableType typeCode = CVariable_GetType(variable);
    const VariableTypeInfo* const type = FindVariableType(typeCode);
    const std::uint32_t elementCount = CVariable_GetNoOfElements(variable);
    const bool isEmpty = type == nullptr || (type->isArray && elementCount == 0);
    void* content = nullptr;
    const QBFResult result = GetContent(variable, !isEmpty, &content);
    if (QBF_IsFailure(result)) {
        DS_TRACE(XmlTraces, kWriteVariable, result, "Could not get content address");
        return result;
    }
    if (type == nullptr) {
        DS_TRACE(XmlTraces, kWriteVariable, QBF_E_BAD_TYPE, "Unsupported variable type: %d",
                 static_cast<int>(typeCode));
        return QBF_OK;
    }
    output.Literal("<type>");
    output.Text(type->text);
    if (type->isArray) {
        WriteArray(output, *type, content, elementCount);
    } else {
        output.Literal("</type><value>");
        WriteElementValue(output, *type, content, 0);
        output.Literal("</value>");
    }
    return QBF_OK;
}

QBFResult StoreNestedObject(CVariable* variable, XmlOutput& output) {
    DS_TRACE(XmlTraces, kStoreObject, QBF_I_INFO, "New nested object");
    void* nested = nullptr;
    if (QBF_IsFailure(GetContent(variable, true, &nested))) {
        DS_TRACE(XmlTraces, kStoreObject, QBF_E_FAILED, "CVariable_GetContentAddress() failed");
        return QBF_E_FAILED;
    }
    if (QBF_IsFailure(StoreObject(static_cast<CStorageObject*>(nested), output))) {
        DS_TRACE(XmlTraces, kStoreObject, QBF_E_FAILED, "Failed to store nested object");
        return QBF_E_FAILED;
    }
    return QBF_OK;
}

/// What became of one variable of an object.
enum class Stored { Yes, Failed, ObjectAbandoned };

Stored StoreVariable(CVariable* variable, XmlOutput& output) {
    // The host may have handed out no variable, which then has no name either.
    const char* const name = NameOf(variable);
    if (name == nullptr) {
        DS_TRACE(XmlTraces, kStoreObject, QBF_E_NO_NAME, "Could not get variable name");
        return Stored::Failed;
    }
    std::string_view shownName = CopyBounded(state.VariableNameBuffer, name);
    if (state.channelInjector != 0) {
        RemoveChannel(state.VariableNameBuffer, kLowerChannelPattern);
        RemoveChannel(state.VariableNameBuffer, kUpperChannelPattern);
        RemoveChannel(state.VariableNameBuffer, kRadioFramePattern);
        DS_TRACE(XmlTraces, kStoreObject, QBF_I_INFO, "Variable after channel removal: %s", state.VariableNameBuffer);
        shownName = state.VariableNameBuffer;
    }
    if (CVariable_GetType(variable) == VARIABLE_TYPE_OBJECT) {
        return QBF_IsFailure(StoreNestedObject(variable, output)) ? Stored::Failed : Stored::Yes;
    }
    output.Literal("\n<variable name = \"");
    output.Text(shownName);
    output.Literal("\">");
    if (QBF_IsFailure(WriteVariable(output, variable))) {
        // Deliberately abrupt: the variable and the object stay open in the document.
        DS_TRACE(XmlTraces, kStoreObject, QBF_E_FAILED, "Could not write variable type");
        return Stored::ObjectAbandoned;
    }
    output.Literal("</variable>");
    return Stored::Yes;
}

void WriteObjectStart(XmlOutput& output, const char* name) {
    CopyBounded(state.ObjectNameBuffer, name);
    if (state.channelInjector != 0) {
        RemoveChannel(state.ObjectNameBuffer, kUpperChannelPattern);
        RemoveChannel(state.ObjectNameBuffer, kRadioFramePattern);
        DS_TRACE(XmlTraces, kStoreObject, QBF_I_INFO, "Object after channel removal: %s", state.ObjectNameBuffer);
    }
    output.Literal("<object name = \"");
    output.Text(state.ObjectNameBuffer);
    output.Literal("\">");
}

QBFResult StoreObject(CStorageObject* object, XmlOutput& output) {
    const char* const name = NameOf(object);
    if (name == nullptr) {
        DS_TRACE(XmlTraces, kStoreObject, QBF_E_NO_NAME, "Could not get object name");
        return QBF_E_FAILED;
    }
    WriteObjectStart(output, name);
    Stored worst = Stored::Yes;
    if (CStorageObject_IsWritable(object) != 0) {
        const QBFResult started = ForEachVariable(object, [&](CVariable* variable, QBFResult /*status*/) {
            // The status only ends the walk: the variable that comes with it is handled in every case.
            worst = std::max(worst, StoreVariable(variable, output));
            return worst == Stored::ObjectAbandoned ? Walk::Stop : Walk::Continue;
        });
        if (QBF_IsFailure(started)) {
            DS_TRACE(XmlTraces, kStoreObject, QBF_E_FAILED, "Could not iterate variables, (QBFResult = %x)",
                     static_cast<unsigned>(started));
            return QBF_E_FAILED;
        }
        if (worst == Stored::ObjectAbandoned) {
            return QBF_E_FAILED;
        }
    }
    output.Literal("\n</object>\n");
    return worst == Stored::Yes ? QBF_OK : QBF_E_FAILED;
}

void WriteRegionStart(XmlOutput& output, const char* name) {
    CopyBounded(state.RegionNameBuffer, name);
    if (state.channelInjector != 0) {
        RemoveChannel(state.RegionNameBuffer, kRadioFramePattern);
        DS_TRACE(XmlTraces, kManageStore, QBF_I_INFO, "Region after channel removal: %s", state.RegionNameBuffer);
    }
    DS_TRACE(XmlTraces, kManageStore, QBF_I_INFO, "Processing region: %s for channel injector = %ld",
             state.RegionNameBuffer, PrintableLong(state.channelInjector));
    output.Literal("<region name = \"");
    output.Text(state.RegionNameBuffer);
    output.Literal("\">");
}

/// @return whether every object of the region was stored.
bool StoreRegion(CStorageRegion* region, const char* name, QBFResult openResult, XmlOutput& output) {
    WriteRegionStart(output, name);
    bool allStored = true;
    ForEachObject(region, [&](CStorageObject* object) {
        if (QBF_IsFailure(StoreObject(object, output))) {
            // Reported at the result of the open, a success, not at the object's failure.
            DS_TRACE(XmlTraces, kManageStore, openResult, "Failed to store object");
            allStored = false;
        }
        return Walk::Continue;
    });
    output.Literal("</region>\n");
    return allStored;
}

/// @return whether everything in the database was written.
bool WriteDocument(XmlOutput& output, QBFResult openResult) {
    output.Literal(R"(<?xml version="1.0" encoding="UTF-8"?><storage name = "RV20">)");
    bool allStored = true;
    ForEachRegion(state.database, [&](CStorageRegion* region) {
        const char* const name = NameOf(region);
        if (name == nullptr) {
            DS_TRACE(XmlTraces, kManageStore, QBF_E_NO_NAME, "Could not get region name");
            allStored = false;
            return Walk::Stop;
        }
        allStored = StoreRegion(region, name, openResult, output) && allStored;
        return Walk::Continue;
    });
    output.Literal("</storage>\n");
    return allStored;
}

QBFResult ManageStore(StorageLocation location) {
    DS_TRACE(XmlTraces, kManageStore, QBF_I_INFO, "Enter: %s for location id (%ld) and channel injector (%ld)",
             XmlTraces::kManageStore, PrintableLong(location), PrintableLong(state.channelInjector));
    std::FILE* file = nullptr;
    const QBFResult openResult = OpenFile(location, StorageOpenMode::Store, &file);
    if (QBF_IsFailure(openResult)) {
        DS_TRACE(XmlTraces, kManageStore, openResult, "Could not open storage file %s", state.CurrentFileName);
        return QBF_E_FAILED;
    }
    XmlOutput output(file);
    const bool allStored = WriteDocument(output, openResult);
    output.Flush();
    if (QBF_IsFailure(CloseFile(file, location))) {
        DS_TRACE(XmlTraces, kManageStore, QBF_E_FAILED, "Could not close storage file");
        return QBF_E_FAILED;
    }
    return allStored ? QBF_OK : QBF_E_FAILED;
}

}  // namespace

QBFResult StoreAll(StorageLocation location, CDatabase* database, unsigned long channelInjector) {
    state.database = database;
    state.channelInjector = channelInjector;
    DS_TRACE(XmlTraces, kStoreAll, QBF_I_INFO, "CXmlFileStorageProviderBase: Storing all...");
    if (database == nullptr) {
        DS_TRACE(XmlTraces, kStoreAll, QBF_E_INVALID_ARGUMENT, "database is a nullptr");
        return QBF_E_FAILED;
    }
    return ManageStore(location);
}

}  // namespace tal::xml
