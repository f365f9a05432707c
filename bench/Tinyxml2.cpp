/// tinyxml2: a document built and saved; loaded, and each variable looked up by its path.

#include <tinyxml2.h>

#include "ReferenceHost.h"
#include "TypeTable.h"
#include "bench/Bench.h"

namespace tal::bench {

namespace {

using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;

constexpr const char* kFile = "tinyxml2.xml";

void AddObject(XMLElement& parent, const host::Object& object);

void AddVariable(XMLElement& parent, const host::Variable& variable) {
    if (variable.Type() == VARIABLE_TYPE_OBJECT) {
        AddObject(parent, *variable.Objects().front());
        return;
    }
    XMLElement& node = *parent.InsertNewChildElement("variable");
    node.SetAttribute("name", variable.Name().c_str());
    const host::TypeInfo& type = *host::FindType(variable.Type());
    node.InsertNewChildElement("type")->SetText(type.name);
    if (!type.isArray) {
        node.InsertNewChildElement("value")->SetText(ElementText(variable, 0));
        return;
    }
    node.InsertNewChildElement("size")->SetText(variable.ElementCount());
    XMLElement& array = *node.InsertNewChildElement("array");
    if (variable.Type() == VARIABLE_TYPE_OBJECT_ARRAY) {
        for (const auto& element : variable.Objects()) {
            AddObject(*array.InsertNewChildElement("objectElement"), *element);
        }
        return;
    }
    for (std::uint32_t index = 0; index < variable.ElementCount(); ++index) {
        array.InsertNewChildElement("element")->SetText(ElementText(variable, index));
    }
}

void AddObject(XMLElement& parent, const host::Object& object) {
    XMLElement& node = *parent.InsertNewChildElement("object");
    node.SetAttribute("name", object.Name().c_str());
    for (const auto& variable : object.Variables()) {
        AddVariable(node, *variable);
    }
}

void Store(const host::Database& database) {
    XMLDocument document;
    XMLElement& root = *document.NewElement("storage");
    document.InsertEndChild(&root);
    for (const auto& region : database.Regions()) {
        XMLElement& node = *root.InsertNewChildElement("region");
        node.SetAttribute("name", region->Name().c_str());
        for (const auto& object : region->Objects()) {
            AddObject(node, *object);
        }
    }
    Require(document.SaveFile(kFile, true) == tinyxml2::XML_SUCCESS, "tinyxml2 save");
}

void RestoreChildren(const host::Database& database, const XMLElement& parent, const std::string& path);

void RestoreVariable(const host::Database& database, const XMLElement& node, const std::string& parentPath) {
    host::Variable& variable = Registered(database, parentPath + '/' + node.Attribute("name"));
    variable.SetRetrieved(true);
    const XMLElement* const array = node.FirstChildElement("array");
    if (array == nullptr) {
        SetElementText(variable, 0, node.FirstChildElement("value")->GetText());
        return;
    }
    std::size_t index = 0;
    for (const auto* element = array->FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement()) {
        if (variable.Type() == VARIABLE_TYPE_OBJECT_ARRAY) {
            RestoreChildren(database, *element, parentPath);
        } else {
            SetElementText(variable, index++, element->GetText());
        }
    }
}

void RestoreChildren(const host::Database& database, const XMLElement& parent, const std::string& path) {
    for (const auto* node = parent.FirstChildElement(); node != nullptr; node = node->NextSiblingElement()) {
        if (std::string_view(node->Name()) == "object") {
            RestoreChildren(database, *node, path + '/' + node->Attribute("name"));
        } else {
            RestoreVariable(database, *node, path);
        }
    }
}

void Retrieve(const host::Database& database) {
    XMLDocument document;
    Require(document.LoadFile(kFile) == tinyxml2::XML_SUCCESS, "tinyxml2 load");
    const XMLElement* const root = document.FirstChildElement("storage");
    for (const auto* region = root->FirstChildElement(); region != nullptr; region = region->NextSiblingElement()) {
        RestoreChildren(database, *region, region->Attribute("name"));
    }
}

void Add(host::Database& database, Contenders& contenders) {
    Store(database);
    contenders.push_back({"xml store", "tinyxml2", Role::Alternative, kFile, [&] { Store(database); }});
    contenders.push_back({"xml retrieve", "tinyxml2", Role::Alternative, kFile,
                          [&] { Restore(database.Handle(), [&] { Retrieve(database); }); }});
}

const RegisterAlternative registered(Add);

}  // namespace

}  // namespace tal::bench
