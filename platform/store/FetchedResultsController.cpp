#include "platform/store/FetchedResultsController.h"

#include <algorithm>
#include <map>
#include <unordered_map>

#include "platform/foundation/FatalError.h"
#include "platform/store/EntityDescription.h"

namespace dovrel::store {

namespace {

ObjectSet objectsFor(const Notification& notification, const char* key) {
    auto found = notification.userInfo.find(key);
    if (found == notification.userInfo.end()) {
        return {};
    }
    const auto* set = std::any_cast<ObjectSet>(&found->second);
    return set ? *set : ObjectSet();
}

std::string sectionName(const Value& value) {
    if (value.isNull()) {
        return "";
    }
    if (auto text = value.string()) {
        return *text;
    }
    return value.description();
}

}  // namespace

FetchedResultsControllerBase::FetchedResultsControllerBase(
    FetchRequestBase fetchRequest, std::shared_ptr<ManagedObjectContext> context,
    std::optional<std::string> sectionNameKeyPath, std::optional<std::string> cacheName)
    : request_(std::move(fetchRequest)),
      context_(std::move(context)),
      sectionKey_(std::move(sectionNameKeyPath)),
      cacheName_(std::move(cacheName)) {
    if (!context_) {
        fatalError("A fetched results controller needs a context");
    }
}

void FetchedResultsControllerBase::performFetch() {
    if (request_.sortDescriptors().empty()) {
        fatalError("A fetched results controller needs a fetch request with sort descriptors");
    }
    sections_ = makeSections(context_->fetch(request_));
    if (!observation_.isActive()) {
        observation_ = NotificationCenter::defaultCenter().addObserver(
            ManagedObjectContext::kObjectsDidChangeNotification, context_.get(),
            [this](const Notification& notification) { contextDidChange(notification); });
    }
}

std::vector<FetchedResultsSectionInfo> FetchedResultsControllerBase::makeSections(
    std::vector<std::shared_ptr<ManagedObject>> objects) const {
    std::vector<FetchedResultsSectionInfo> sections;
    if (!sectionKey_) {
        if (!objects.empty()) {
            sections.push_back({"", std::move(objects)});
        }
        return sections;
    }
    for (auto& object : objects) {
        std::string name = sectionName(object->value(*sectionKey_));
        if (sections.empty() || sections.back().name != name) {
            sections.push_back({std::move(name), {}});
        }
        sections.back().objects.push_back(std::move(object));
    }
    return sections;
}

std::vector<std::shared_ptr<ManagedObject>> FetchedResultsControllerBase::fetchedObjects() const {
    std::vector<std::shared_ptr<ManagedObject>> objects;
    for (const auto& section : sections_) {
        objects.insert(objects.end(), section.objects.begin(), section.objects.end());
    }
    return objects;
}

std::shared_ptr<ManagedObject> FetchedResultsControllerBase::object(
    const IndexPath& indexPath) const {
    if (indexPath.section >= sections_.size() ||
        indexPath.item >= sections_[indexPath.section].objects.size()) {
        fatalError("No object at index path " + indexPath.description());
    }
    return sections_[indexPath.section].objects[indexPath.item];
}

std::optional<IndexPath> FetchedResultsControllerBase::indexPath(
    const std::shared_ptr<ManagedObject>& object) const {
    for (std::size_t section = 0; section < sections_.size(); ++section) {
        const auto& objects = sections_[section].objects;
        auto found = std::find(objects.begin(), objects.end(), object);
        if (found != objects.end()) {
            return IndexPath{section, static_cast<std::size_t>(found - objects.begin())};
        }
    }
    return std::nullopt;
}

void FetchedResultsControllerBase::contextDidChange(const Notification& notification) {
    if (notification.userInfo.contains(ManagedObjectContext::kInvalidatedAllObjectsKey)) {
        // Every object is gone; what the store holds now comes back as new objects.
        report(makeSections(context_->fetch(request_)), {});
        return;
    }
    ObjectSet gone = objectsFor(notification, ManagedObjectContext::kDeletedObjectsKey);
    gone.merge(objectsFor(notification, ManagedObjectContext::kInvalidatedObjectsKey));
    ObjectSet changed = objectsFor(notification, ManagedObjectContext::kUpdatedObjectsKey);
    changed.merge(objectsFor(notification, ManagedObjectContext::kRefreshedObjectsKey));
    ObjectSet candidates = objectsFor(notification, ManagedObjectContext::kInsertedObjectsKey);
    candidates.insert(changed.begin(), changed.end());

    auto objects = fetchedObjects();
    ObjectSet present(objects.begin(), objects.end());
    bool relevant = false;
    const auto removed = std::erase_if(objects, [&](const auto& object) {
        return gone.contains(object) || object->managedObjectContext() != context_.get();
    });
    relevant = removed > 0;
    ObjectSet updated;
    for (const auto& object : candidates) {
        if (gone.contains(object) || object->managedObjectContext() != context_.get() ||
            object->entity().name() != request_.entityName() || object->isDeleted()) {
            continue;
        }
        const bool matches = !request_.predicate() || request_.predicate()->evaluate(*object);
        const bool wasPresent = present.contains(object);
        if (wasPresent && !matches) {
            std::erase(objects, object);
            relevant = true;
        } else if (!wasPresent && matches) {
            objects.push_back(object);
            relevant = true;
        } else if (wasPresent && matches && changed.contains(object)) {
            updated.insert(object);
            relevant = true;
        }
    }
    if (!relevant) {
        return;
    }
    sortObjects(objects, request_.sortDescriptors());
    report(makeSections(std::move(objects)), updated);
}

void FetchedResultsControllerBase::report(std::vector<FetchedResultsSectionInfo> sections,
                                          const ObjectSet& updated) {
    std::unordered_map<ManagedObject*, IndexPath> oldPaths, newPaths;
    for (std::size_t s = 0; s < sections_.size(); ++s) {
        for (std::size_t i = 0; i < sections_[s].objects.size(); ++i) {
            oldPaths[sections_[s].objects[i].get()] = {s, i};
        }
    }
    for (std::size_t s = 0; s < sections.size(); ++s) {
        for (std::size_t i = 0; i < sections[s].objects.size(); ++i) {
            newPaths[sections[s].objects[i].get()] = {s, i};
        }
    }
    auto nameIndex = [](const std::vector<FetchedResultsSectionInfo>& list) {
        std::map<std::string, std::size_t> indexes;
        for (std::size_t s = 0; s < list.size(); ++s) {
            indexes[list[s].name] = s;
        }
        return indexes;
    };
    const auto oldSections = nameIndex(sections_);
    const auto newSections = nameIndex(sections);

    // Rank among the objects present before and after, to tell moves from mere shifts.
    std::vector<ManagedObject*> oldSurvivors, newSurvivors;
    for (const auto& section : sections_) {
        for (const auto& object : section.objects) {
            if (newPaths.contains(object.get())) {
                oldSurvivors.push_back(object.get());
            }
        }
    }
    for (const auto& section : sections) {
        for (const auto& object : section.objects) {
            if (oldPaths.contains(object.get())) {
                newSurvivors.push_back(object.get());
            }
        }
    }
    std::unordered_map<ManagedObject*, std::size_t> oldRank, newRank;
    for (std::size_t i = 0; i < oldSurvivors.size(); ++i) {
        oldRank[oldSurvivors[i]] = i;
        newRank[newSurvivors[i]] = i;
    }

    struct Change {
        std::shared_ptr<ManagedObject> object;
        std::optional<IndexPath> from, to;
    };
    std::vector<Change> deletions, insertions, moves, updates;
    for (const auto& section : sections_) {
        for (const auto& object : section.objects) {
            if (!newPaths.contains(object.get())) {
                deletions.push_back({object, oldPaths[object.get()], std::nullopt});
            }
        }
    }
    for (const auto& section : sections) {
        for (const auto& object : section.objects) {
            auto old = oldPaths.find(object.get());
            if (old == oldPaths.end()) {
                insertions.push_back({object, std::nullopt, newPaths[object.get()]});
            } else if (updated.contains(object)) {
                const bool sectionChanged = sections_[old->second.section].name !=
                                            sections[newPaths[object.get()].section].name;
                if (sectionChanged || oldRank[object.get()] != newRank[object.get()]) {
                    moves.push_back({object, old->second, newPaths[object.get()]});
                } else {
                    updates.push_back({object, old->second, std::nullopt});
                }
            }
        }
    }
    std::sort(updates.begin(), updates.end(),
              [](const Change& a, const Change& b) { return *a.from < *b.from; });

    auto oldSectionsList = std::move(sections_);
    sections_ = std::move(sections);
    auto delegate = delegate_.lock();
    if (!delegate) {
        return;
    }
    delegate->controllerWillChangeContent(*this);
    for (const auto& [name, index] : oldSections) {
        if (!newSections.contains(name)) {
            delegate->controller(*this, oldSectionsList[index], index,
                                 FetchedResultsChangeType::delete_);
        }
    }
    for (const auto& [name, index] : newSections) {
        if (!oldSections.contains(name)) {
            delegate->controller(*this, sections_[index], index, FetchedResultsChangeType::insert);
        }
    }
    for (const auto& change : deletions) {
        delegate->controller(*this, change.object, change.from, FetchedResultsChangeType::delete_,
                             std::nullopt);
    }
    for (const auto& change : insertions) {
        delegate->controller(*this, change.object, std::nullopt, FetchedResultsChangeType::insert,
                             change.to);
    }
    for (const auto& change : moves) {
        delegate->controller(*this, change.object, change.from, FetchedResultsChangeType::move,
                             change.to);
    }
    for (const auto& change : updates) {
        delegate->controller(*this, change.object, change.from, FetchedResultsChangeType::update,
                             std::nullopt);
    }
    delegate->controllerDidChangeContent(*this);
}

}  // namespace dovrel::store
