/// Straight code: the same bytes through the same host calls, suppressed-trace tests and stdio calls as the providers,
/// written for one job each, with nothing that could be left out. It tests no result and reports no problem.

#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "bench/Bench.h"
#include "brqtrace/brqtrace.h"

namespace tal::bench {

namespace {

// As large as the providers'.
char documentBuffer[TAL_STREAM_BUFFER_SIZE];
char binaryBuffer[TAL_STREAM_BUFFER_SIZE];

std::FILE* Open(const char* fileName, const char* mode) {
    std::FILE* const file = std::fopen(fileName, mode);
    std::setvbuf(file, binaryBuffer, _IOFBF, sizeof binaryBuffer);
    return file;
}

std::FILE* OpenUnbuffered(const char* fileName, const char* mode) {
    std::FILE* const file = std::fopen(fileName, mode);
    std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

/// What a trace costs when nobody wants it.
void SuppressedTrace(unsigned long code) {
    if (DS_trace.threshold >= CPexTraceHandler_DmLevel2GtLevel(code)) {
        Require(false, "tracing is off");
    }
}

template <class Visit>
void ForEachObject(CDatabase* database, Visit visit) {
    const auto* const regions = reinterpret_cast<const HostListNode*>(database);
    for (const HostListNode* regionNode = regions->next; regionNode != regions; regionNode = regionNode->next) {
        auto* const region = static_cast<CStorageRegion*>(regionNode->element);
        char* regionName = nullptr;
        CStorageRegion_GetName(region, &regionName);
        SuppressedTrace(QBF_I_INFO);
        const auto* const objects = reinterpret_cast<const HostListNode*>(reinterpret_cast<void**>(region) + 1);
        for (const HostListNode* node = objects->next; node != objects; node = node->next) {
            visit(regionName, static_cast<CStorageObject*>(node->element), node->next == objects);
        }
    }
}

template <class Visit>
void ForEachVariable(CStorageObject* object, Visit visit) {
    HostIterator position = nullptr;
    QBFResult status = CStorageObject_GetVariableIterator(object, &position);
    while (status == QBF_OK) {
        CVariable* variable = nullptr;
        status = CStorageObject_GetNextVariable(object, &variable, &position);
        visit(variable);
    }
}

// ---- XML

class Document {
public:
    explicit Document(std::FILE* file) : file_(file) {}

    template <std::size_t Size>
    Document& operator<<(const char (&literal)[Size]) {
        return Append(literal, Size - 1);
    }
    Document& Text(const char* text) { return Append(text, std::strlen(text)); }
    template <class Number>
    Document& Integer(Number number) {
        Reserve(24);
        used_ = std::to_chars(used_, std::end(documentBuffer), number).ptr;
        return *this;
    }
    Document& Real(double number) {
        Reserve(32);
        used_ = std::to_chars(used_, std::end(documentBuffer), number, std::chars_format::scientific, 6).ptr;
        return *this;
    }
    void Flush() {
        std::fwrite(documentBuffer, 1, static_cast<std::size_t>(used_ - documentBuffer), file_);
        used_ = documentBuffer;
    }

private:
    void Reserve(std::size_t length) {
        if (static_cast<std::size_t>(std::end(documentBuffer) - used_) < length) {
            Flush();
        }
    }
    Document& Append(const char* text, std::size_t length) {
        Reserve(length);
        std::memcpy(used_, text, length);
        used_ += length;
        return *this;
    }

    std::FILE* file_;
    char* used_ = documentBuffer;
};

template <class Number>
Number At(const void* content, std::size_t index) {
    Number number;
    std::memcpy(&number, static_cast<const char*>(content) + index * sizeof number, sizeof number);
    return number;
}

void WriteElement(Document& document, VariableType type, const void* content, std::size_t index) {
    switch (type) {
        case VARIABLE_TYPE_U8:
        case VARIABLE_TYPE_U8_ARRAY:
        case VARIABLE_TYPE_CHAR:
            document.Integer(static_cast<int>(At<std::uint8_t>(content, index)));
            break;
        case VARIABLE_TYPE_U16:
        case VARIABLE_TYPE_U16_ARRAY:
            document.Integer(static_cast<int>(At<std::uint16_t>(content, index)));
            break;
        case VARIABLE_TYPE_S8:
            document.Integer(static_cast<int>(At<std::int8_t>(content, index)));
            break;
        case VARIABLE_TYPE_S16:
            document.Integer(static_cast<int>(At<std::int16_t>(content, index)));
            break;
        case VARIABLE_TYPE_BOOL:
        case VARIABLE_TYPE_BOOL_ARRAY:
            if (At<std::uint32_t>(content, index) != 0) {
                document << "TRUE";
            } else {
                document << "FALSE";
            }
            break;
        case VARIABLE_TYPE_STRING:
            document.Text(static_cast<const char*>(content));
            break;
        case VARIABLE_TYPE_FLOAT:
        case VARIABLE_TYPE_FLOAT_ARRAY:
            document.Real(static_cast<double>(At<float>(content, index)));
            break;
        case VARIABLE_TYPE_DOUBLE:
            document.Real(At<double>(content, index));
            break;
        default:
            document.Integer(At<std::int32_t>(content, index));
            break;
    }
}

constexpr const char* kTypeTexts[] = {
    "U8",     "U8_ARRAY",  "U16",         "U16_ARRAY", "U32",          "U32_ARRAY",  "S8",          "S8_ARRAY",
    "S16",    "S16_ARRAY", "S32",         "S32",       "BOOL",         "BOOL_ARRAY", "CHAR",        "CHAR_ARRAY",
    "STRING", "FLOAT",     "FLOAT_ARRAY", "DOUBLE",    "DOUBLE_ARRAY", "OBJECT",     "OBJECT_ARRAY"};

void WriteObject(Document& document, CStorageObject* object);

void WriteVariable(Document& document, CVariable* variable) {
    char* name = nullptr;
    void* content = nullptr;
    CVariable_GetName(variable, &name);
    if (CVariable_GetType(variable) == VARIABLE_TYPE_OBJECT) {
        SuppressedTrace(QBF_I_INFO);
        CVariable_GetContentAddress(variable, &content);
        WriteObject(document, static_cast<CStorageObject*>(content));
        return;
    }
    const VariableType type = CVariable_GetType(variable);
    const std::uint32_t count = CVariable_GetNoOfElements(variable);
    CVariable_GetContentAddress(variable, &content);
    document << "\n<variable name = \"";
    document.Text(name) << "\"><type>";
    document.Text(kTypeTexts[type]);
    const bool isArray = type < VARIABLE_TYPE_STRING ? type % 2 == 1 : type % 2 == 0 && type != VARIABLE_TYPE_STRING;
    if (!isArray) {
        document << "</type><value>";
        WriteElement(document, type, content, 0);
        document << "</value></variable>";
        return;
    }
    (document << "</type><size>").Integer(count) << "</size><array>";
    for (std::uint32_t index = 0; index < count; ++index) {
        if (type == VARIABLE_TYPE_OBJECT_ARRAY) {
            document << "<objectElement>";
            WriteObject(document, static_cast<CStorageObject**>(content)[index]);
            document << "</objectElement>";
        } else {
            document << "<element>";
            WriteElement(document, type, content, index);
            document << "</element>";
        }
    }
    document << "</array></variable>";
}

void WriteObject(Document& document, CStorageObject* object) {
    char* name = nullptr;
    CStorageObject_GetName(object, &name);
    document << "<object name = \"";
    document.Text(name) << "\">";
    Require(CStorageObject_IsWritable(object) != 0, "writable");
    ForEachVariable(object, [&](CVariable* variable) { WriteVariable(document, variable); });
    document << "\n</object>\n";
}

void WriteDocument(CDatabase* database) {
    std::FILE* const file = OpenUnbuffered("straight.xml", "w+");
    Document document(file);
    document << R"(<?xml version="1.0" encoding="UTF-8"?><storage name = "RV20">)";
    bool isRegionOpen = false;
    ForEachObject(database, [&](const char* regionName, CStorageObject* object, bool isLast) {
        if (!isRegionOpen) {
            document << "<region name = \"";
            document.Text(regionName) << "\">";
        }
        WriteObject(document, object);
        isRegionOpen = !isLast;
        if (isLast) {
            document << "</region>\n";
        }
    });
    document << "</storage>\n";
    document.Flush();
    std::fflush(file);
    std::fclose(file);
}

// ---- Binary

template <class Visit>
void ForEachValue(CStorageObject* object, Visit& visit) {
    char* name = nullptr;
    CStorageObject_GetName(object, &name);
    SuppressedTrace(QBF_I_INFO);
    ForEachVariable(object, [&](CVariable* variable) {
        const std::uint32_t count = CVariable_GetNoOfElements(variable);
        const VariableType type = CVariable_GetType(variable);
        void* content = nullptr;
        if (type == VARIABLE_TYPE_OBJECT) {
            SuppressedTrace(QBF_I_INFO);
            CVariable_GetContentAddress(variable, &content);
            ForEachValue(static_cast<CStorageObject*>(content), visit);
        } else if (type == VARIABLE_TYPE_OBJECT_ARRAY) {
            CVariable_GetContentAddress(variable, &content);
            for (std::uint32_t index = 0; index < count; ++index) {
                ForEachValue(static_cast<CStorageObject**>(content)[index], visit);
            }
        } else {
            CVariable_GetName(variable, &name);
            SuppressedTrace(QBF_I_INFO);
            const std::uint32_t size = CVariable_GetSizeInBytes(variable);
            CVariable_GetContentAddress(variable, &content);
            SuppressedTrace(QBF_I_INFO);
            visit(variable, content, size);
        }
    });
}

void WriteImage(CDatabase* database) {
    std::FILE* const file = Open("straight.bin", "w+");
    auto write = [file](CVariable* /*variable*/, void* content, std::uint32_t size) {
        Require(std::fwrite(content, 1, size, file) == size, "fwrite");
    };
    ForEachObject(database, [&](const char* /*region*/, CStorageObject* object, bool /*isLast*/) {
        ForEachValue(object, write);
    });
    std::fclose(file);
}

void ReadImage(CDatabase* database) {
    std::FILE* const file = Open("storage_calibration_database.bin", "r");
    auto read = [file](CVariable* variable, void* content, std::uint32_t size) {
        Require(std::fread(content, 1, size, file) == size, "fread");
        CVariable_SetRetrieved(variable, 1);
    };
    ForEachObject(database,
                  [&](const char* /*region*/, CStorageObject* object, bool /*isLast*/) { ForEachValue(object, read); });
    std::fclose(file);
}

// ---- Secure binary

constexpr std::size_t kHeaderSize = 20;

/// The path so far, without a name for the variable.
struct PathPrefix {
    char text[512];
    std::size_t length;

    void Append(const char* name) {
        const std::size_t nameLength = std::strlen(name);
        std::memcpy(text + length, name, nameLength);
        text[length + nameLength] = '/';
        length += nameLength + 1;
    }
};

void WriteRecord(const PathPrefix& prefix, CVariable* variable, std::FILE* file) {
    char* name = nullptr;
    void* content = nullptr;
    CVariable_GetName(variable, &name);
    const std::uint32_t size = CVariable_GetSizeInBytes(variable);
    CVariable_GetContentAddress(variable, &content);
    char path[512];
    const std::size_t nameLength = std::strlen(name);
    std::memcpy(path, prefix.text, prefix.length);
    std::memcpy(path + prefix.length, name, nameLength + 1);
    const auto pathLength = static_cast<std::uint32_t>(prefix.length + nameLength);
    SuppressedTrace(QBF_I_INFO);
    const std::uint32_t header[] = {0xDEADBEEF, 20 + pathLength + size, pathLength, size, 0xBEEFCAFE};
    Require(std::fwrite(header, 1, kHeaderSize, file) == kHeaderSize, "fwrite");
    Require(std::fwrite(path, 1, pathLength + 1, file) == pathLength + 1, "fwrite");
    SuppressedTrace(QBF_I_INFO);
    Require(std::fwrite(content, 1, size, file) == size, "fwrite");
}

void WriteRecords(CStorageObject* object, PathPrefix& path, std::FILE* file, bool appendsName) {
    char* name = nullptr;
    CStorageObject_GetName(object, &name);
    SuppressedTrace(QBF_I_INFO);
    if (appendsName) {
        path.Append(name);
    }
    Require(CStorageObject_IsWritable(object) != 0, "writable");
    ForEachVariable(object, [&](CVariable* variable) {
        const std::uint32_t count = CVariable_GetNoOfElements(variable);
        const VariableType type = CVariable_GetType(variable);
        void* content = nullptr;
        if (type == VARIABLE_TYPE_OBJECT) {
            SuppressedTrace(QBF_I_INFO);
            CVariable_GetContentAddress(variable, &content);
            WriteRecords(static_cast<CStorageObject*>(content), path, file, true);
        } else if (type == VARIABLE_TYPE_OBJECT_ARRAY) {
            SuppressedTrace(QBF_I_INFO);
            CVariable_GetContentAddress(variable, &content);
            const std::size_t base = path.length;
            for (std::uint32_t index = 0; index < count; ++index) {
                auto* const element = static_cast<CStorageObject**>(content)[index];
                path.length = base;
                CStorageObject_GetName(element, &name);
                path.Append(name);
                WriteRecords(element, path, file, false);
            }
        } else {
            WriteRecord(path, variable, file);
        }
    });
}

void WriteSecureFile(CDatabase* database) {
    std::FILE* const file = Open("straight.sbin", "w+");
    PathPrefix path = {};
    ForEachObject(database, [&](const char* region, CStorageObject* object, bool /*isLast*/) {
        path.length = 0;
        path.Append(region);
        WriteRecords(object, path, file, true);
    });
    std::fflush(file);
    std::fclose(file);
}

void ReadSecureFile(CDatabase* database) {
    std::FILE* const file = Open("storage_calibration_database.sbin", "r");
    std::uint32_t header[5];
    while (std::fread(header, 1, kHeaderSize, file) == kHeaderSize) {
        Require(header[0] == 0xDEADBEEF && header[2] <= 510, "header");
        char path[512];
        Require(std::fread(path, 1, header[2] + 1, file) == header[2] + 1, "fread");
        const std::uint32_t size = header[3];
        const std::unique_ptr<char[]> data(new char[size]);
        Require(std::fread(data.get(), 1, size, file) == size, "fread");
        CVariable* variable = nullptr;
        void* content = nullptr;
        Require(CDatabase_GetVariableByPath(database, path, &variable) == 0, "look-up");
        CVariable_GetContentAddress(variable, &content);
        Require(CVariable_GetSizeInBytes(variable) == size, "size");
        SuppressedTrace(QBF_I_INFO);
        std::memcpy(content, data.get(), size);
        CVariable_SetRetrieved(variable, 1);
    }
    std::fclose(file);
}

struct Written {
    void (*write)(CDatabase*);
    const char* fileName;
    const char* libraryFile;
};

constexpr Written kWritten[] = {{WriteDocument, "straight.xml", "storage_calibration_database.xml"},
                                {WriteImage, "straight.bin", "storage_calibration_database.bin"},
                                {WriteSecureFile, "straight.sbin", "storage_calibration_database.sbin"}};

}  // namespace

void AddStraightCode(CDatabase* database, Contenders& contenders) {
    for (const Written& written : kWritten) {
        written.write(database);
        Require(ReadWhole(written.fileName) == ReadWhole(written.libraryFile), "straight code writes the same bytes");
    }
    const auto add = [&](const char* job, const char* fileName, auto run) {
        contenders.push_back({job, "straight code", Role::Limit, fileName, [database, run] { run(database); }});
    };
    const auto restore = [](void (*read)(CDatabase*)) {
        return [read](CDatabase* restored) { Restore(restored, [&] { read(restored); }); };
    };
    add("xml store", "storage_calibration_database.xml", WriteDocument);
    add("binary store", "storage_calibration_database.bin", WriteImage);
    add("binary retrieve", "storage_calibration_database.bin", restore(ReadImage));
    add("secure store", "storage_calibration_database.sbin", WriteSecureFile);
    add("secure retrieve", "storage_calibration_database.sbin", restore(ReadSecureFile));
}

}  // namespace tal::bench
