/// What no provider can go below: the same bytes through stdio, the same document through the parser, the look-ups.

#include <expat.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "ReferenceHost.h"
#include "TypeTable.h"
#include "bench/Bench.h"

namespace tal::bench {

namespace {

void WriteBytes(const std::string& bytes) {
    std::FILE* const file = std::fopen("limit.out", "w+");
    Require(std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size(), "fwrite");
    Require(std::fclose(file) == 0, "fclose");
}

void ReadBytes(const std::string& fileName, std::string& buffer) {
    std::FILE* const file = std::fopen(fileName.c_str(), "r");
    Require(std::fread(buffer.data(), 1, buffer.size(), file) == buffer.size(), "fread");
    std::fclose(file);
}

void XMLCALL IgnoreStart(void* /*userData*/, const char* /*name*/, const char** /*attributes*/) {}
void XMLCALL IgnoreText(void* /*userData*/, const char* /*text*/, int /*length*/) {}

/// The paths that a document's variables are looked up by, one after the other.
struct LookUps {
    host::Database& database;
    std::vector<std::string> paths;
    std::size_t next = 0;

    void Next() {
        CVariable* variable = nullptr;
        Require(CDatabase_GetVariableByPath(database.Handle(), paths[next].c_str(), &variable) == 0, "look-up");
        next = next + 1 == paths.size() ? 0 : next + 1;
    }
};

void XMLCALL IgnoreEnd(void* /*userData*/, const char* /*name*/) {}

void XMLCALL LookUpAtEnd(void* userData, const char* name) {
    if (std::strcmp(name, "variable") == 0) {
        static_cast<LookUps*>(userData)->Next();
    }
}

void Parse(const std::string& fileName, std::size_t size, XML_EndElementHandler end, void* userData) {
    std::string buffer(size, '\0');
    ReadBytes(fileName, buffer);
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, userData);
    XML_SetElementHandler(parser, IgnoreStart, end);
    XML_SetCharacterDataHandler(parser, IgnoreText);
    Require(XML_Parse(parser, buffer.data(), static_cast<int>(size), 1) == XML_STATUS_OK, "parse");
    XML_ParserFree(parser);
}

std::vector<std::string> DocumentPaths(const host::Database& database) {
    std::vector<std::string> paths;
    for (const host::Variable* const variable : database.Variables()) {
        if (variable->Type() != VARIABLE_TYPE_OBJECT) {
            paths.push_back(variable->Path());
        }
    }
    return paths;
}

void AddStdio(const std::string& format, const std::string& fileName, Contenders& contenders) {
    const auto bytes = std::make_shared<std::string>(ReadWhole(fileName));
    contenders.push_back(
        {format + " store", "fwrite of the same bytes", Role::Reference, fileName, [bytes] { WriteBytes(*bytes); }});
    contenders.push_back({format + " retrieve", "fread of the same bytes", Role::Reference, fileName,
                          [bytes, fileName] { ReadBytes(fileName, *bytes); }});
}

}  // namespace

void AddLimits(host::Database& database, Contenders& contenders) {
    const std::string document = "storage_calibration_database.xml";
    const std::size_t size = ReadWhole(document).size();
    AddStdio("xml", document, contenders);
    AddStdio("binary", "storage_calibration_database.bin", contenders);
    AddStdio("secure", "storage_calibration_database.sbin", contenders);
    contenders.push_back({"xml retrieve", "Expat, empty handlers", Role::Reference, document,
                          [=] { Parse(document, size, IgnoreEnd, nullptr); }});
    const auto lookUps = std::make_shared<LookUps>(LookUps{database, DocumentPaths(database)});
    contenders.push_back({"xml retrieve", "Expat, one look-up per variable", Role::Limit, document,
                          [=] { Parse(document, size, LookUpAtEnd, lookUps.get()); }});
}

}  // namespace tal::bench
