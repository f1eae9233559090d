#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "platform/dispatch/MainRunLoop.h"
#include "platform/foundation/ValueTransformer.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/ManagedObjectModel.h"
#include "platform/store/PersistentContainer.h"

// A small model of its own for the store's tests: people, their pets and teams.
//   Person: name (string), age (integer 64, required, default 0), score (double), active
//           (boolean), birthday (date), avatar (binary), favoriteColor (transformable through
//           "StoreTestColorTransformer"); pets (to-many Pet, cascade), team (to-one Team, nullify)
//   Pet:    name (string); owner (to-one Person, nullify)
//   Team:   title (string); players (to-many Person, deny)
namespace dovrel::store::testing {

// The colour a transformable attribute holds in the tests.
struct Rgb {
    std::uint8_t red = 0, green = 0, blue = 0;
    friend bool operator==(const Rgb&, const Rgb&) = default;
};

class RgbTransformer : public ValueTransformer {
  public:
    const std::type_info& transformedValueClass() const override { return typeid(Data); }
    std::any transformedValue(const std::any& value) const override {
        if (const Rgb* rgb = std::any_cast<Rgb>(&value)) {
            return Data{rgb->red, rgb->green, rgb->blue};
        }
        return {};
    }
    std::any reverseTransformedValue(const std::any& value) const override {
        if (const Data* data = std::any_cast<Data>(&value); data && data->size() == 3) {
            return Rgb{(*data)[0], (*data)[1], (*data)[2]};
        }
        return {};
    }
};

class Person : public ManagedObject {
  public:
    std::optional<std::string> name() const { return value("name").string(); }
    void setName(std::optional<std::string> name) { setValue(Value(name), "name"); }
    std::int64_t age() const { return value("age").integer().value_or(0); }
    void setAge(std::int64_t age) { setValue(age, "age"); }
    std::optional<Date> birthday() const { return value("birthday").date(); }
    void setBirthday(std::optional<Date> date) { setValue(Value(date), "birthday"); }
};

class Pet : public ManagedObject {
  public:
    std::optional<std::string> name() const { return value("name").string(); }
    void setName(std::optional<std::string> name) { setValue(Value(name), "name"); }
};

inline std::shared_ptr<const ManagedObjectModel> makeTestModel(std::string version = "1") {
    ValueTransformer::setValueTransformer(std::make_shared<RgbTransformer>(),
                                          "StoreTestColorTransformer");
    EntityDescription person("Person");
    person.addAttribute({"name", AttributeType::stringAttributeType});
    person.addAttribute({"age", AttributeType::integer64AttributeType, false, Value(0)});
    person.addAttribute({"score", AttributeType::doubleAttributeType});
    person.addAttribute({"active", AttributeType::booleanAttributeType});
    person.addAttribute({"birthday", AttributeType::dateAttributeType});
    person.addAttribute({"avatar", AttributeType::binaryDataAttributeType});
    person.addAttribute({"favoriteColor", AttributeType::transformableAttributeType, true, Value(),
                         "StoreTestColorTransformer"});
    person.addRelationship({"pets", "Pet", "owner", true, DeleteRule::cascadeDeleteRule});
    person.addRelationship({"team", "Team", "players", false, DeleteRule::nullifyDeleteRule});
    person.setManagedObjectClass<Person>();

    EntityDescription pet("Pet");
    pet.addAttribute({"name", AttributeType::stringAttributeType});
    pet.addRelationship({"owner", "Person", "pets", false, DeleteRule::nullifyDeleteRule});
    pet.setManagedObjectClass<Pet>();

    EntityDescription team("Team");
    team.addAttribute({"title", AttributeType::stringAttributeType});
    team.addRelationship({"players", "Person", "team", true, DeleteRule::denyDeleteRule});

    std::vector<EntityDescription> entities;
    entities.push_back(std::move(person));
    entities.push_back(std::move(pet));
    entities.push_back(std::move(team));
    return std::make_shared<ManagedObjectModel>(std::move(version), std::move(entities));
}

// A temporary folder removed with everything in it.
class TemporaryDirectory {
  public:
    TemporaryDirectory() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "dovrel-store-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(path_, ignored);
    }
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

// A container over one store file in `directory`, already loaded (an error aborts the test).
inline std::unique_ptr<PersistentContainer> makeLoadedContainer(
    const std::filesystem::path& file, std::shared_ptr<const ManagedObjectModel> model,
    std::optional<Error>* error = nullptr) {
    auto container = std::make_unique<PersistentContainer>("Test", std::move(model));
    container->setPersistentStoreDescriptions({PersistentStoreDescription(file)});
    std::optional<Error> failure;
    container->loadPersistentStores([&](const PersistentStoreDescription&,
                                        std::optional<Error> loadError) { failure = loadError; });
    if (error != nullptr) {
        *error = failure;
    }
    return container;
}

// Runs the main queue until nothing is left to run.
inline void drainMainQueue() {
    while (MainRunLoop::runPending() > 0) {
    }
}

}  // namespace dovrel::store::testing
