#include "ContainerModules.h"

#include <map>
#include <memory>
#include <stdexcept>

#include "refcntr/codegen/GeneratedClassList.h"

namespace refcntr {

namespace {

struct ModuleClass {
    RWCString (*dump)(const DICOMDataObject& data);
};

// Every generated module by class name, from the generator's list of module classes.
template <class... Modules>
struct ModuleTable {
    static std::map<std::string, ModuleClass> make() {
        return {{Modules::description().name, ModuleClass{[](const DICOMDataObject& data) {
                     return std::unique_ptr<Modules>(Modules::create(data))->toString(0);
                 }}}...};
    }
};

// Every generated entity's description by class name.
template <class... Entities>
struct EntityTable {
    static std::map<std::string, const ClassDescription*> make() {
        return {{Entities::description().name, &Entities::description()}...};
    }
};

const std::map<std::string, ModuleClass>& modules() {
    static const std::map<std::string, ModuleClass> table = generated::Modules<ModuleTable>::make();
    return table;
}

const std::map<std::string, const ClassDescription*>& entities() {
    static const std::map<std::string, const ClassDescription*> table = generated::Entities<EntityTable>::make();
    return table;
}

const ClassDescription* iodDescription(StoredObjectKind kind) {
    switch (kind) {
    case StoredObjectKind::MediaDirectory: return &BasicDirectoryCompositeIOD::description();
    case StoredObjectKind::GrayscalePresentationState:
        return &GrayscaleSoftcopyPresentationStateCompositeIOD::description();
    case StoredObjectKind::ColorPresentationState: return &ColorSoftcopyPresentationStateCompositeIOD::description();
    case StoredObjectKind::PseudoColorPresentationState:
        return &PseudoColorSoftcopyPresentationStateCompositeIOD::description();
    case StoredObjectKind::Other: break;
    }
    return nullptr;
}

}  // namespace

std::vector<std::string> moduleNamesOf(StoredObjectKind kind) {
    std::vector<std::string> names;
    const ClassDescription* iod = iodDescription(kind);
    if (iod == nullptr) return names;
    for (unsigned i = 0; i < iod->attributeCount; ++i) {
        const ClassDescription& entity = *entities().at(iod->attributes[i].className);
        for (unsigned j = 0; j < entity.attributeCount; ++j) names.push_back(entity.attributes[j].className);
    }
    return names;
}

bool isModuleName(const std::string& name) { return modules().count(name) != 0; }

RWCString dumpModule(const std::string& name, const DICOMDataObject& data) {
    const auto found = modules().find(name);
    if (found == modules().end()) throw std::invalid_argument("no module class " + name);
    return found->second.dump(data);
}

}  // namespace refcntr
