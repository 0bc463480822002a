#pragma once

#include "Base/Assert.h"
#include "Mox/Children.h"
#include "Mox/Collection.h"
#include "Mox/Entity.h"
#include "Mox/Ptr.h"
#include "Mox/Set.h"

#include <type_traits>

/// The macros that declare the attributes of an entity. Each line declares one attribute and its
/// accessors. They are macros because the accessors' names are derived from the attribute's. The
/// functions of Mox::AttributeWork do the work.
///
///     class TopoPortConfig final : public Mox::Entity {
///         MOX_KEY(TopoPortConfig, Nexo::IntfId, intf)
///         MOX_ATTRIBUTE(PortState, portState)
///     };
///
/// | line                            | declares                                                |
/// |---------------------------------|---------------------------------------------------------|
/// | MOX_KEY(Class, Type, x)         | constructor from the key; x(); key(), which is the same |
/// | MOX_ATTRIBUTE(Type, x)          | x(); xIs(value): stores and publishes on change only    |
/// | MOX_ATTRIBUTE_FROM(Type, x, v)  | the same, with the initial value v                      |
/// | MOX_REFERENCE(Child, x)         | the same for a Mox::Ptr<Child>, null at first           |
/// | MOX_CHILDREN(Key, Child, x)     | x(): the collection; x(key): the child or null;         |
/// |                                 | xIs(key): insert or get; xIs(key, child): insert a      |
/// |                                 | filled child; xDel(key); xDelAll()                      |
/// | MOX_REFERENCES(Key, Child, x)   | the same for entities made elsewhere, under any key:    |
/// |                                 | only xIs(key, child) inserts, and it may replace        |
/// | MOX_VALUES(Key, Value, x)       | the same, but xIs(key, value) stores a value, and x(key)|
/// |                                 | points to it or is null                                 |
/// | MOX_SET(Key, x)                 | x(): the set; xIs(key); xDel(key); xDelAll()            |
/// | MOX_FEW_CHILDREN(.., n, x)      | MOX_CHILDREN and MOX_SET for a class of which there are  |
/// | MOX_FEW_SET(Key, n, x)          | many: the first n elements are within the object        |
/// | MOX_PUBLISHES_SCALAR(x)         | the attribute alone, for a class that publishes it in   |
/// | MOX_PUBLISHES_KEYS(Key, x)      | its own way                                             |
///
/// Lines with children also declare xReserve(n), which gets memory for n in all; and, for generic
/// code, children(attribute) and child(attribute, key), which return what x() and x(key) of a const
/// entity return.
///
/// A const entity returns its children as const: x() is then a ConstObjects, whose find() returns
/// a plain pointer to the child. State machines are no inputs, and their own accessors return what
/// they hold as it is. Code that changes an entity must hold a reference
/// to it: a subscriber may drop the last other one.
///
/// Each line but MOX_KEY also declares `xAttribute`, which identifies the attribute to subscribers.
/// Two attributes of a class whose names have the same hash do not compile. An element is published
/// after it was added, changed or removed, and before a removed one is released.

/// The functions that the collection lines call. `publish` gets the key of what changed.
namespace Mox::AttributeWork {

/// Whether copies of a `Type` in a const entity would let its reader write.
template <class Type>
inline constexpr bool kWritablePtr = false;
template <class Object>
inline constexpr bool kWritablePtr<Ptr<Object>> = !std::is_const_v<Object>;

/// REQUIRES: no child of that key; the key is the child's own.
template <class Key, class Child, std::uint32_t kOwnRoom, class Publish>
void childAdd(Children<Key, Child, kOwnRoom> &children, Key const &key, Ptr<Child> const &child,
              Publish publish) {
    Base::assertThat(children.find(key) == nullptr, "children.find(key) == nullptr");
    Base::assertThat(child && child->key() == key, "child && child->key() == key");
    children.insert(key, child);
    publish(key);
}

template <class Key, class Child, std::uint32_t kOwnRoom, class Publish>
Ptr<Child> childIs(Children<Key, Child, kOwnRoom> &children, Key const &key, Publish publish) {
    if (Ptr<Child> const *present = children.find(key)) {
        return *present;
    }
    Ptr<Child> child = make<Child>(key);
    children.insert(key, child);
    publish(key);
    return child;
}

template <class Key, class Child, class Record, std::uint32_t kOwnRoom>
Ptr<Child> child(Collection<Key, Ptr<Child>, Record, kOwnRoom> const &children, Key const &key) {
    Ptr<Child> const *present = children.find(key);
    return present == nullptr ? nullptr : *present;
}

template <class Key, class Value, class Record, std::uint32_t kOwnRoom, class Publish>
void elementDel(Collection<Key, Value, Record, kOwnRoom> &collection, Key const &key,
                Publish publish) {
    if (auto const taken = collection.remove(key)) {
        publish(taken->key());
    }
}

template <class Key, std::uint32_t kOwnRoom, class Publish>
void elementDel(Set<Key, kOwnRoom> &set, Key const &key, Publish publish) {
    if (auto const taken = set.remove(key)) {
        publish(*taken);
    }
}

template <class Key, class Value, class Record, std::uint32_t kOwnRoom, class Publish>
void elementDelAll(Collection<Key, Value, Record, kOwnRoom> &collection, Publish publish) {
    Collection<Key, Value, Record, kOwnRoom> taken;
    taken.takeAll(collection);
    for (auto const &[key, value] : taken) {
        publish(key);
    }
}

template <class Key, std::uint32_t kOwnRoom, class Publish>
void elementDelAll(Set<Key, kOwnRoom> &set, Publish publish) {
    Set<Key, kOwnRoom> taken;
    taken.takeAll(set);
    for (Key const &key : taken) {
        publish(key);
    }
}

} // namespace Mox::AttributeWork

#define MOX_KEY(Class, Type, x)                                                                    \
  public:                                                                                          \
    explicit Class(Type const &x) : x##_(x) {}                                                     \
    [[nodiscard]] Type const &x() const noexcept {                                                 \
        return x##_;                                                                               \
    }                                                                                              \
    [[nodiscard]] Type const &key() const noexcept {                                               \
        return x##_;                                                                               \
    }                                                                                              \
                                                                                                   \
  private:                                                                                         \
    Type x##_;

#define MOX_PUBLISHES(Type, x)                                                                     \
  public:                                                                                          \
    static constexpr Type x##Attribute{};                                                          \
    static Type attributeOf(Pelo::AttributeTag<Type::id>);

#define MOX_PUBLISHES_SCALAR(x) MOX_PUBLISHES(Pelo::ScalarAttribute<Pelo::attributeId(#x)>, x)

#define MOX_PUBLISHES_KEYS(KeyType, x)                                                             \
  public:                                                                                          \
    using x##Keyed = Pelo::KeyedAttribute<KeyType, Pelo::attributeId(#x)>;                         \
    MOX_PUBLISHES(x##Keyed, x)

#define MOX_ATTRIBUTE(Type, x) MOX_ATTRIBUTE_FROM(Type, x, {})

#define MOX_ATTRIBUTE_FROM(Type, x, initial)                                                       \
    MOX_PUBLISHES_SCALAR(x)                                                                        \
    static_assert(!Mox::AttributeWork::kWritablePtr<Type>, "use MOX_REFERENCE");                   \
    [[nodiscard]] Type const &x() const noexcept {                                                 \
        return x##_;                                                                               \
    }                                                                                              \
    void x##Is(Type const &value) {                                                                \
        if (!(x##_ == value)) {                                                                    \
            x##_ = value;                                                                          \
            publishChange(x##Attribute);                                                           \
        }                                                                                          \
    }                                                                                              \
                                                                                                   \
  private:                                                                                         \
    Type x##_ = initial;

#define MOX_REFERENCE(Child, x)                                                                    \
    MOX_PUBLISHES_SCALAR(x)                                                                        \
    [[nodiscard]] Mox::Ptr<Child const> x() const noexcept {                                       \
        return x##_;                                                                               \
    }                                                                                              \
    [[nodiscard]] Mox::Ptr<Child> const &x() noexcept {                                            \
        return x##_;                                                                               \
    }                                                                                              \
    void x##Is(Mox::Ptr<Child> const &child) {                                                     \
        if (!(x##_ == child)) {                                                                    \
            x##_ = child;                                                                          \
            publishChange(x##Attribute);                                                           \
        }                                                                                          \
    }                                                                                              \
                                                                                                   \
  private:                                                                                         \
    Mox::Ptr<Child> x##_;

/// The part that all collection lines share.
#define MOX_ANY_COLLECTION(KeyType, x)                                                             \
    MOX_PUBLISHES_KEYS(KeyType, x)                                                                 \
                                                                                                   \
  private:                                                                                         \
    auto x##Publish() const {                                                                      \
        return [this](KeyType const &key) { publishChange(x##Attribute, key); };                   \
    }                                                                                              \
                                                                                                   \
  public:                                                                                          \
    void x##Del(KeyType const &key) {                                                              \
        Mox::AttributeWork::elementDel(x##_, key, x##Publish());                                   \
    }                                                                                              \
    void x##DelAll() {                                                                             \
        Mox::AttributeWork::elementDelAll(x##_, x##Publish());                                     \
    }

/// The part that MOX_CHILDREN and MOX_REFERENCES share, which say what x##Held is.
#define MOX_ANY_CHILDREN(Key, Child, x)                                                            \
    MOX_ANY_COLLECTION(Key, x)                                                                     \
    [[nodiscard]] Mox::ConstObjects<x##Held> x() const noexcept {                                  \
        return Mox::ConstObjects<x##Held>(x##_);                                                   \
    }                                                                                              \
    [[nodiscard]] x##Held const &x() noexcept {                                                    \
        return x##_;                                                                               \
    }                                                                                              \
    [[nodiscard]] Mox::Ptr<Child const> x(Key const &key) const {                                  \
        return Mox::AttributeWork::child(x##_, key);                                               \
    }                                                                                              \
    [[nodiscard]] Mox::Ptr<Child> x(Key const &key) {                                              \
        return Mox::AttributeWork::child(x##_, key);                                               \
    }                                                                                              \
    void x##Reserve(std::size_t children) {                                                        \
        x##_.reserve(children);                                                                    \
    }                                                                                              \
    [[nodiscard]] auto children(x##Keyed /*attribute*/) const noexcept {                           \
        return x();                                                                                \
    }                                                                                              \
    [[nodiscard]] auto child(x##Keyed /*attribute*/, Key const &key) const {                       \
        return x(key);                                                                             \
    }                                                                                              \
                                                                                                   \
  private:                                                                                         \
    x##Held x##_;                                                                                  \
                                                                                                   \
  public:

#define MOX_CHILDREN(Key, Child, x) MOX_FEW_CHILDREN(Key, Child, 0, x)

#define MOX_FEW_CHILDREN(Key, Child, few, x)                                                       \
  private:                                                                                         \
    using x##Held = Mox::Children<Key, Child, few>;                                                \
                                                                                                   \
  public:                                                                                          \
    MOX_ANY_CHILDREN(Key, Child, x)                                                                \
    Mox::Ptr<Child> x##Is(Key const &key) {                                                        \
        return Mox::AttributeWork::childIs(x##_, key, x##Publish());                               \
    }                                                                                              \
    void x##Is(Key const &key, Mox::Ptr<Child> const &child) {                                     \
        Mox::AttributeWork::childAdd(x##_, key, child, x##Publish());                              \
    }                                                                                              \
                                                                                                   \
  private:

#define MOX_REFERENCES(Key, Child, x)                                                              \
  private:                                                                                         \
    using x##Held = Mox::Collection<Key, Mox::Ptr<Child>>;                                         \
                                                                                                   \
  public:                                                                                          \
    MOX_ANY_CHILDREN(Key, Child, x)                                                                \
    void x##Is(Key const &key, Mox::Ptr<Child> const &child) {                                     \
        Base::assertThat(bool(child), #x " child");                                                \
        if (x##_.assign(key, child)) {                                                             \
            publishChange(x##Attribute, key);                                                      \
        }                                                                                          \
    }                                                                                              \
                                                                                                   \
  private:

#define MOX_VALUES(Key, Value, x)                                                                  \
    MOX_ANY_COLLECTION(Key, x)                                                                     \
    static_assert(!Mox::AttributeWork::kWritablePtr<Value>, "use MOX_REFERENCES");                 \
    [[nodiscard]] auto const &x() const noexcept {                                                 \
        return x##_;                                                                               \
    }                                                                                              \
    [[nodiscard]] Value const *x(Key const &key) const noexcept {                                  \
        return x##_.find(key);                                                                     \
    }                                                                                              \
    void x##Is(Key const &key, Value const &value) {                                               \
        if (x##_.assign(key, value)) {                                                             \
            publishChange(x##Attribute, key);                                                      \
        }                                                                                          \
    }                                                                                              \
                                                                                                   \
  private:                                                                                         \
    Mox::Collection<Key, Value> x##_;

#define MOX_SET(Key, x) MOX_FEW_SET(Key, 0, x)

#define MOX_FEW_SET(Key, few, x)                                                                   \
    MOX_ANY_COLLECTION(Key, x)                                                                     \
    [[nodiscard]] auto const &x() const noexcept {                                                 \
        return x##_;                                                                               \
    }                                                                                              \
    void x##Is(Key const &key) {                                                                   \
        if (x##_.insert(key)) {                                                                    \
            publishChange(x##Attribute, key);                                                      \
        }                                                                                          \
    }                                                                                              \
                                                                                                   \
  private:                                                                                         \
    Mox::Set<Key, few> x##_;
