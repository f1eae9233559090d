#include "platform/store/MigrationManager.h"

#include <unistd.h>

#include <exception>
#include <set>
#include <thread>

#include "platform/foundation/FatalError.h"
#include "platform/store/EntityMigrationPolicy.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/StoreError.h"

namespace dovrel::store {

namespace {

void removeFiles(const std::filesystem::path& url) {
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
        ::unlink((url.string() + suffix).c_str());
    }
}

// Runs one call into a policy; whatever it throws becomes a policy error naming the mapping.
template <class Call>
void callPolicy(const EntityMapping& mapping, Call&& call) {
    auto fail = [&](const std::string& why) {
        return StoreError::make(
            StoreError::kEntityMigrationPolicyError,
            "The migration policy of the entity mapping \"" + mapping.name + "\" failed: " + why);
    };
    try {
        call();
    } catch (const Error& error) {
        throw fail(error.localizedDescription());
    } catch (const std::exception& error) {
        throw fail(error.what());
    } catch (...) {
        throw fail("it threw an unknown exception");
    }
}

}  // namespace

void MigrationManager::MadeFrom::add(ManagedObject* destination) {
    if (only == nullptr && several.empty()) {
        only = destination;
        return;
    }
    if (several.empty()) {
        several.push_back(only);
    }
    several.push_back(destination);
}

std::span<ManagedObject* const> MigrationManager::MadeFrom::all() const noexcept {
    if (!several.empty()) {
        return several;
    }
    return only != nullptr ? std::span<ManagedObject* const>(&only, 1)
                           : std::span<ManagedObject* const>();
}

MigrationManager::MigrationManager(std::shared_ptr<const ManagedObjectModel> sourceModel,
                                   std::shared_ptr<const ManagedObjectModel> destinationModel)
    : sourceModel_(std::move(sourceModel)), destinationModel_(std::move(destinationModel)) {
    if (!sourceModel_ || !destinationModel_) {
        fatalError("A migration manager needs a source and a destination model");
    }
}

MigrationManager::~MigrationManager() {
    clear();
}

void MigrationManager::clear() {
    // Objects first, then their contexts, then the coordinators (which close the files).
    madeFrom_.clear();
    originOf_.clear();
    states_.clear();
    sources_.clear();
    currentMapping_ = nullptr;
    mappingModel_ = nullptr;
    // Nothing holds their objects any more, so the contexts can simply go.
    auto drop = [](std::shared_ptr<ManagedObjectContext>& context) { context.reset(); };
    drop(destinationContext_);
    drop(sourceContext_);
}

void MigrationManager::validate(const MappingModel& mapping) const {
    std::set<std::string> names;
    for (const auto& entityMapping : mapping.entityMappings()) {
        if (entityMapping.name.empty() || !names.insert(entityMapping.name).second) {
            fatalError("The mapping model has an entity mapping without a name, or two called \"" +
                       entityMapping.name + "\"");
        }
        if (!entityMapping.sourceEntityName.empty() &&
            sourceModel_->entity(entityMapping.sourceEntityName) == nullptr) {
            fatalError("The entity mapping \"" + entityMapping.name + "\" names the entity \"" +
                       entityMapping.sourceEntityName + "\", which the source model lacks");
        }
        if (entityMapping.destinationEntityName.empty()) {
            continue;
        }
        const EntityDescription* destination =
            destinationModel_->entity(entityMapping.destinationEntityName);
        if (destination == nullptr) {
            fatalError("The entity mapping \"" + entityMapping.name + "\" names the entity \"" +
                       entityMapping.destinationEntityName +
                       "\", which the destination model lacks");
        }
        for (const auto& attribute : entityMapping.attributeMappings) {
            if (destination->attribute(attribute.name) == nullptr) {
                fatalError("The entity mapping \"" + entityMapping.name +
                           "\" maps the attribute \"" + attribute.name + "\", which " +
                           destination->name() + " lacks");
            }
        }
        for (const auto& relationship : entityMapping.relationshipMappings) {
            const RelationshipDescription* found = destination->relationship(relationship.name);
            if (found == nullptr || found->isToMany) {
                fatalError("The entity mapping \"" + entityMapping.name +
                           "\" maps the relationship \"" + relationship.name + "\", which " +
                           destination->name() + " lacks as a to-one relationship");
            }
        }
    }
}

void MigrationManager::migrateStore(const std::filesystem::path& sourceURL,
                                    const std::filesystem::path& destinationURL,
                                    const MappingModel& mapping) {
    validate(mapping);
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(sourceURL, ignored)) {
        throw StoreError::make(StoreError::kPersistentStoreOpenError,
                               "There is no store to migrate at " + sourceURL.string());
    }
    if (std::filesystem::exists(destinationURL, ignored)) {
        throw StoreError::make(
            StoreError::kMigrationError,
            "The migration's new store " + destinationURL.string() + " exists already");
    }
    clear();
    // Frees the destination objects while the files close; joined when this function returns.
    std::jthread releaseDestinations;
    bool destinationMade = false;
    try {
        auto sourceCoordinator = std::make_shared<PersistentStoreCoordinator>(sourceModel_);
        auto sourceStore =
            sourceCoordinator->addPersistentStore(PersistentStoreDescription(sourceURL));
        destinationMade = true;
        auto destinationCoordinator =
            std::make_shared<PersistentStoreCoordinator>(destinationModel_);
        auto destinationStore =
            destinationCoordinator->addPersistentStore(PersistentStoreDescription(destinationURL));
        auto applicationMetadata = sourceStore->metadata();
        applicationMetadata.erase(PersistentStore::kStoreUUIDKey);
        applicationMetadata.erase(PersistentStore::kModelVersionIdentifierKey);
        destinationStore->setMetadata(applicationMetadata);

        sourceContext_ = std::make_shared<ManagedObjectContext>(
            ManagedObjectContext::ConcurrencyType::privateQueueConcurrencyType);
        sourceContext_->setPersistentStoreCoordinator(sourceCoordinator);
        destinationContext_ = ManagedObjectContext::makeSharingQueue(*sourceContext_);
        destinationContext_->setPersistentStoreCoordinator(destinationCoordinator);
        mappingModel_ = &mapping;
        sourceContext_->performAndWait([&] {
            run(mapping);
            // Nothing needs the source objects or the associations any more. Freeing half a
            // million objects takes about as long as writing them, so it happens beside the
            // save instead of after it; the thread is joined before this block ends.
            std::jthread release(releaseSourceObjects());
            try {
                destinationContext_->save();
            } catch (const Error& error) {
                throw StoreError::make(StoreError::kMigrationError,
                                       "The migrated objects could not be saved to " +
                                           destinationURL.string() + ": " +
                                           error.localizedDescription());
            }
        });
        // Written: the objects go beside the closing of the files, which checkpoints the new
        // store's log. The coordinators above close after this block, before the join.
        releaseDestinations = std::jthread(releaseDestinationObjects());
        clear();
    } catch (...) {
        clear();
        if (destinationMade) {
            removeFiles(destinationURL);
        }
        throw;
    }
}

void MigrationManager::run(const MappingModel& mapping) {
    // Every source instance is read first, in one query per entity, so that following a
    // relationship finds loaded objects instead of fetching them one by one.
    std::map<std::string, std::vector<std::shared_ptr<ManagedObject>>> sources;
    std::size_t total = 0;
    for (const auto& entityMapping : mapping.entityMappings()) {
        const auto& name = entityMapping.sourceEntityName;
        if (!name.empty() && !sources.contains(name)) {
            FetchRequestBase request(name);
            request.setReturnsObjectsAsFaults(false);
            auto& objects = sources[name] = sourceContext_->fetch(request);
            total += objects.size();
        }
    }
    madeFrom_.reserve(total);
    originOf_.reserve(total);
    // Every member of every to-many relationship was read just now: the owners' lists of members
    // follow from the members' to-one values, without a query per owner.
    for (const auto& [name, objects] : sources) {
        const EntityDescription* entity = sourceModel_->entity(name);
        for (const auto& relationship : entity->relationships()) {
            if (!relationship.isToMany || relationship.inverseRelationship == nullptr ||
                relationship.inverseRelationship->isToMany) {
                continue;
            }
            const auto members = sources.find(relationship.destinationEntity->name());
            if (members != sources.end()) {
                sourceContext_->loadToManyFromMembers(relationship, members->second);
            }
        }
    }

    for (const auto& entityMapping : mapping.entityMappings()) {
        auto state = std::make_unique<MappingState>();
        state->mapping = &entityMapping;
        state->policy = entityMapping.policyFactory ? entityMapping.policyFactory()
                                                    : std::make_unique<EntityMigrationPolicy>();
        if (!state->policy) {
            fatalError("The policy factory of the entity mapping \"" + entityMapping.name +
                       "\" made no policy");
        }
        states_.push_back(std::move(state));
    }
    for (auto& state : states_) {
        const EntityMapping& entityMapping = *state->mapping;
        currentMapping_ = &entityMapping;
        callPolicy(entityMapping, [&] { state->policy->beginEntityMapping(entityMapping, *this); });
        if (entityMapping.sourceEntityName.empty()) {
            continue;
        }
        for (const auto& source : sources[entityMapping.sourceEntityName]) {
            callPolicy(entityMapping, [&] {
                state->policy->createDestinationInstances(source, entityMapping, *this);
            });
        }
    }
    for (auto& [name, objects] : sources) {
        sources_.insert(sources_.end(), std::make_move_iterator(objects.begin()),
                        std::make_move_iterator(objects.end()));
    }
    sources.clear();
    for (auto& state : states_) {
        const EntityMapping& entityMapping = *state->mapping;
        currentMapping_ = &entityMapping;
        for (std::size_t i = 0; i < state->destinations.size(); ++i) {
            const auto destination = state->destinations[i];
            callPolicy(entityMapping, [&] {
                state->policy->createRelationships(destination, entityMapping, *this);
            });
        }
        callPolicy(entityMapping, [&] { state->policy->endEntityMapping(entityMapping, *this); });
    }
    currentMapping_ = nullptr;
}

std::function<void()> MigrationManager::releaseSourceObjects() {
    // Moved into the closure, they are freed wherever it runs. The contexts keep only weak
    // references to their objects, so the source context may outlive the objects, and the
    // destination objects keep no pointer to any source object.
    auto associations = std::make_shared<std::pair<decltype(madeFrom_), decltype(originOf_)>>(
        std::move(madeFrom_), std::move(originOf_));
    auto sources =
        std::make_shared<std::vector<std::shared_ptr<ManagedObject>>>(std::move(sources_));
    madeFrom_ = {};
    originOf_ = {};
    sources_ = {};
    return [associations = std::move(associations), sources = std::move(sources)]() mutable {
        associations.reset();
        sources.reset();
    };
}

std::function<void()> MigrationManager::releaseDestinationObjects() {
    auto destinations =
        std::make_shared<std::vector<std::vector<std::shared_ptr<ManagedObject>>>>();
    for (auto& state : states_) {
        destinations->push_back(std::move(state->destinations));
        state->destinations = {};
    }
    return [destinations = std::move(destinations)]() mutable { destinations.reset(); };
}

ManagedObjectContext& MigrationManager::sourceContext() {
    if (!sourceContext_) {
        fatalError("The migration manager has no source context outside a migration");
    }
    return *sourceContext_;
}

ManagedObjectContext& MigrationManager::destinationContext() {
    if (!destinationContext_) {
        fatalError("The migration manager has no destination context outside a migration");
    }
    return *destinationContext_;
}

const MappingModel& MigrationManager::mappingModel() const {
    if (mappingModel_ == nullptr) {
        fatalError("The migration manager has no mapping model outside a migration");
    }
    return *mappingModel_;
}

const EntityMapping& MigrationManager::currentEntityMapping() const {
    if (currentMapping_ == nullptr) {
        fatalError("The migration manager runs no entity mapping now");
    }
    return *currentMapping_;
}

const MigrationManager::MappingState& MigrationManager::state(
    const std::string& entityMappingName) const {
    for (const auto& state : states_) {
        if (state->mapping->name == entityMappingName) {
            return *state;
        }
    }
    fatalError("The mapping model has no entity mapping \"" + entityMappingName + "\"");
}

void MigrationManager::associate(const std::shared_ptr<ManagedObject>& source,
                                 const std::shared_ptr<ManagedObject>& destination,
                                 const EntityMapping& mapping) {
    if (!source || !destination || source->managedObjectContext() != sourceContext_.get() ||
        destination->managedObjectContext() != destinationContext_.get()) {
        fatalError(
            "Only a source instance and a destination instance of this migration can be "
            "associated");
    }
    // Policies pass the mapping they were given, so its address finds its state at once.
    MappingState* found = nullptr;
    for (const auto& candidate : states_) {
        if (candidate->mapping == &mapping) {
            found = candidate.get();
            break;
        }
    }
    auto& owner = found != nullptr ? *found : const_cast<MappingState&>(state(mapping.name));
    if (originOf_.find(destination.get()) != nullptr) {
        fatalError("A destination instance was associated twice");
    }
    originOf_.insertOrAssign(destination.get(), Origin{&owner, source.get()});
    owner.destinations.push_back(destination);
    madeFrom_[source.get()].add(destination.get());
}

std::vector<std::shared_ptr<ManagedObject>> MigrationManager::destinationInstances(
    const std::string& entityMappingName,
    const std::vector<std::shared_ptr<ManagedObject>>& sourceInstances) const {
    const MappingState* wanted = &state(entityMappingName);
    std::vector<std::shared_ptr<ManagedObject>> result;
    for (const auto& source : sourceInstances) {
        const auto* made = madeFrom_.find(source.get());
        if (made == nullptr) {
            continue;
        }
        for (ManagedObject* destination : made->all()) {
            if (originOf_.find(destination)->state == wanted) {
                result.push_back(destination->shared_from_this());
            }
        }
    }
    return result;
}

std::vector<std::shared_ptr<ManagedObject>> MigrationManager::sourceInstances(
    const std::string& entityMappingName,
    const std::vector<std::shared_ptr<ManagedObject>>& destinationInstances) const {
    const MappingState* wanted = &state(entityMappingName);
    std::vector<std::shared_ptr<ManagedObject>> result;
    for (const auto& destination : destinationInstances) {
        const auto* origin = originOf_.find(destination.get());
        if (origin != nullptr && origin->state == wanted) {
            result.push_back(origin->source->shared_from_this());
        }
    }
    return result;
}

std::span<ManagedObject* const> MigrationManager::destinationInstances(
    const ManagedObject& source) const {
    const auto* made = madeFrom_.find(&source);
    return made != nullptr ? made->all() : std::span<ManagedObject* const>();
}

std::shared_ptr<ManagedObject> MigrationManager::sourceInstance(
    const ManagedObject& destination) const {
    const auto* origin = originOf_.find(&destination);
    return origin != nullptr ? origin->source->shared_from_this() : nullptr;
}

}  // namespace dovrel::store
