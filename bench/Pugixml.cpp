/// pugixml: a document built and saved; loaded, and each variable looked up by its path.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <pugixml.hpp>

#include "ReferenceHost.h"
#include "TypeTable.h"
#include "bench/Bench.h"

namespace tal::bench {

namespace {

constexpr const char* kFile = "pugixml.xml";

void AddObject(pugi::xml_node parent, const host::Object& object);

void AddVariable(pugi::xml_node parent, const host::Variable& variable) {
    if (variable.Type() == VARIABLE_TYPE_OBJECT) {
        AddObject(parent, *variable.Objects().front());
        return;
    }
    pugi::xml_node node = parent.append_child("variable");
    node.append_attribute("name") = variable.Name().c_str();
    const host::TypeInfo& type = *host::FindType(variable.Type());
    node.append_child("type").text() = type.name;
    if (!type.isArray) {
        node.append_child("value").text() = ElementText(variable, 0);
        return;
    }
    node.append_child("size").text() = variable.ElementCount();
    pugi::xml_node array = node.append_child("array");
    if (variable.Type() == VARIABLE_TYPE_OBJECT_ARRAY) {
        for (const auto& element : variable.Objects()) {
            AddObject(array.append_child("objectElement"), *element);
        }
        return;
    }
    for (std::uint32_t index = 0; index < variable.ElementCount(); ++index) {
        array.append_child("element").text() = ElementText(variable, index);
    }
}

void AddObject(pugi::xml_node parent, const host::Object& object) {
    pugi::xml_node node = parent.append_child("object");
    node.append_attribute("name") = object.Name().c_str();
    for (const auto& variable : object.Variables()) {
        AddVariable(node, *variable);
    }
}

void Store(const host::Database& database) {
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("storage");
    for (const auto& region : database.Regions()) {
        pugi::xml_node node = root.append_child("region");
        node.append_attribute("name") = region->Name().c_str();
        for (const auto& object : region->Objects()) {
            AddObject(node, *object);
        }
    }
    Require(document.save_file(kFile, "", pugi::format_raw), "pugixml save");
}

void RestoreChildren(const host::Database& database, pugi::xml_node parent, const std::string& path);

void RestoreVariable(const host::Database& database, pugi::xml_node node, const std::string& parentPath) {
    host::Variable& variable = Registered(database, parentPath + '/' + node.attribute("name").value());
    variable.SetRetrieved(true);
    const pugi::xml_node array = node.child("array");
    if (!array) {
        SetElementText(variable, 0, node.child("value").text().get());
        return;
    }
    std::size_t index = 0;
    for (const pugi::xml_node element : array.children()) {
        if (variable.Type() == VARIABLE_TYPE_OBJECT_ARRAY) {
            RestoreChildren(database, element, parentPath);
        } else {
            SetElementText(variable, index++, element.text().get());
        }
    }
}

void RestoreChildren(const host::Database& database, pugi::xml_node parent, const std::string& path) {
    for (const pugi::xml_node node : parent.children()) {
        if (std::string_view(node.name()) == "object") {
            RestoreChildren(database, node, path + '/' + node.attribute("name").value());
        } else {
            RestoreVariable(database, node, path);
        }
    }
}

void RestoreDocument(const host::Database& database, const pugi::xml_document& document) {
    for (const pugi::xml_node region : document.child("storage").children()) {
        RestoreChildren(database, region, region.attribute("name").value());
    }
}

void Retrieve(const host::Database& database) {
    pugi::xml_document document;
    Require(document.load_file(kFile), "pugixml load");
    RestoreDocument(database, document);
}

void RetrieveInPlace(const host::Database& database) {
    std::FILE* const file = std::fopen(kFile, "r");
    std::fseek(file, 0, SEEK_END);
    const auto size = static_cast<std::size_t>(std::ftell(file));
    std::rewind(file);
    const std::unique_ptr<char[]> buffer(new char[size]);
    Require(std::fread(buffer.get(), 1, size, file) == size, "fread");
    std::fclose(file);
    pugi::xml_document document;
    Require(document.load_buffer_inplace(buffer.get(), size), "pugixml load in place");
    RestoreDocument(database, document);
}

void Add(host::Database& database, Contenders& contenders) {
    Store(database);
    contenders.push_back({"xml store", "pugixml", Role::Alternative, kFile, [&] { Store(database); }});
    contenders.push_back({"xml retrieve", "pugixml", Role::Alternative, kFile,
                          [&] { Restore(database.Handle(), [&] { Retrieve(database); }); }});
    // Compared with nothing: it writes into the document's own text.
    contenders.push_back({"xml retrieve", "pugixml, in place", Role::Reference, kFile,
                          [&] { Restore(database.Handle(), [&] { RetrieveInPlace(database); }); }});
}

const RegisterAlternative registered(Add);

}  // namespace

}  // namespace tal::bench
