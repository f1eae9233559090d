#include <gtest/gtest.h>

#include "tests/platform/store/StoreTestModel.h"

namespace dovrel::store {
namespace {

using testing::makeLoadedContainer;
using testing::makeTestModel;
using testing::TemporaryDirectory;

TEST(ManagedObjectKeyValue, AToManyKeyGivesItsMembersAsAnObjectSet) {
    TemporaryDirectory directory;
    auto container = makeLoadedContainer(directory.path() / "T.sqlite", makeTestModel());
    auto& context = *container->viewContext();
    auto owner = context.insertNewObject("Person");
    auto rex = context.insertNewObject("Pet");
    auto tom = context.insertNewObject("Pet");
    rex->setObject(owner, "owner");
    tom->setObject(owner, "owner");
    context.save();
    context.reset();

    auto fetched = context.fetch(FetchRequestBase("Person"));
    ASSERT_EQ(fetched.size(), 1u);
    const Value pets = fetched[0]->value("pets");
    EXPECT_EQ(pets.kind(), Value::Kind::object);
    auto members = pets.objectAs<ObjectSet>();
    ASSERT_TRUE(members.has_value());
    EXPECT_EQ(members->size(), 2u);
    for (const auto& pet : *members) {
        EXPECT_EQ(pet->object("owner"), fetched[0]);
    }
    // An empty relationship is an empty set, not null.
    auto lonely = context.insertNewObject("Person");
    auto none = lonely->value("pets").objectAs<ObjectSet>();
    ASSERT_TRUE(none.has_value());
    EXPECT_TRUE(none->empty());
}

TEST(ManagedObjectKeyValue, AToOneKeyGivesItsObjectOrNull) {
    TemporaryDirectory directory;
    auto container = makeLoadedContainer(directory.path() / "T.sqlite", makeTestModel());
    auto& context = *container->viewContext();
    auto owner = context.insertNewObject("Person");
    auto pet = context.insertNewObject("Pet");
    EXPECT_TRUE(pet->value("owner").isNull());
    pet->setObject(owner, "owner");
    auto held = pet->value("owner").objectAs<std::shared_ptr<ManagedObject>>();
    ASSERT_TRUE(held.has_value());
    EXPECT_EQ(*held, owner);
    EXPECT_FALSE(pet->value("owner").objectAs<ObjectSet>().has_value());
}

TEST(ManagedObjectKeyValue, RelationshipsAreWrittenByKeyTheWayTheyAreRead) {
    TemporaryDirectory directory;
    auto container = makeLoadedContainer(directory.path() / "T.sqlite", makeTestModel());
    auto& context = *container->viewContext();
    auto first = context.insertNewObject("Person");
    auto second = context.insertNewObject("Person");
    auto a = context.insertNewObject("Pet");
    auto b = context.insertNewObject("Pet");
    auto c = context.insertNewObject("Pet");
    a->setValue(Value::object(first), "owner");
    EXPECT_EQ(a->object("owner"), first);
    first->setValue(Value::object(ObjectSet{b, c}), "pets");
    // Exactly the set: a left, b and c joined.
    EXPECT_EQ(first->value("pets").objectAs<ObjectSet>(), (ObjectSet{b, c}));
    EXPECT_EQ(a->object("owner"), nullptr);
    second->setValue(Value::object(ObjectSet{c}), "pets");
    EXPECT_EQ(first->value("pets").objectAs<ObjectSet>(), (ObjectSet{b}));
    b->setValue(Value(), "owner");
    EXPECT_TRUE(first->value("pets").objectAs<ObjectSet>()->empty());
    context.save();
    context.reset();
    FetchRequestBase request("Person");
    std::size_t members = 0;
    for (const auto& person : context.fetch(request)) {
        members += person->value("pets").objectAs<ObjectSet>()->size();
    }
    EXPECT_EQ(members, 1u);
}

TEST(ManagedObjectKeyValueDeathTest, AToManyKeyWrittenWithAPlainValueStops) {
    EXPECT_DEATH(
        {
            TemporaryDirectory directory;
            auto container = makeLoadedContainer(directory.path() / "T.sqlite", makeTestModel());
            auto person = container->viewContext()->insertNewObject("Person");
            person->setValue(Value(3), "pets");
        },
        "Fatal error: The relationship \"pets\" takes a set of objects, not integer");
}

}  // namespace
}  // namespace dovrel::store
