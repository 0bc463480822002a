#pragma once

#include <concepts>
#include <cstdint>
#include <string_view>

namespace Pelo {

/// Identifies an attribute within its class. It is a hash of the attribute's name, so that it is
/// the same in every library of the process and needs no manual numbering.
using AttributeId = std::uint32_t;

constexpr AttributeId attributeId(std::string_view name) noexcept {
    AttributeId id = 2166136261U; // FNV-1a
    for (char const c : name) {
        id = (id ^ static_cast<unsigned char>(c)) * 16777619U;
    }
    return id;
}

/// A scalar attribute of an entity: a change of it carries no key.
template <AttributeId Id>
struct ScalarAttribute {
    static constexpr AttributeId id = Id;
};

/// A collection attribute of an entity: a change of it carries the key of the changed element.
template <class KeyType, AttributeId Id>
struct KeyedAttribute {
    using Key = KeyType;
    static constexpr AttributeId id = Id;
};

/// The argument of `attributeOf`, with which a class lists its attributes:
///
///     static Attribute attributeOf(Pelo::AttributeTag<Attribute::id>);
///
/// Two attributes whose names have the same hash would declare the same function, which does not
/// compile.
template <AttributeId Id>
struct AttributeTag {};

/// Whether `Attribute` is an attribute of the class `Entity`.
template <class Attribute, class Entity>
concept AttributeOf = requires {
    { Entity::attributeOf(AttributeTag<Attribute::id>()) } -> std::same_as<Attribute>;
};

/// One published change of one attribute. It and its key are valid only during the subscriber's
/// call.
class Change {
  public:
    template <AttributeId Id>
    explicit Change(ScalarAttribute<Id> /*attribute*/) noexcept : attribute_(Id) {}
    template <class Key, AttributeId Id>
    Change(KeyedAttribute<Key, Id> /*attribute*/, Key const &key) noexcept
        : attribute_(Id), key_(&key) {}

    [[nodiscard]] AttributeId attribute() const noexcept { return attribute_; }

  private:
    template <class Entity>
    friend class ChangeOf;

    AttributeId attribute_;
    void const *key_ = nullptr;
};

/// A change of an entity of the class `Entity`. It accepts only attributes of that class, so a key
/// is never read as one of another type. A class that inherits attributes declares none of its own:
/// its list would hide the inherited one.
template <class Entity>
class ChangeOf {
  public:
    /// REQUIRES: an `Entity` published `change`.
    explicit ChangeOf(Change const &change) noexcept : change_(change) {}

    template <AttributeOf<Entity> Attribute>
    [[nodiscard]] bool isOf(Attribute /*attribute*/) const noexcept {
        return change_.attribute_ == Attribute::id;
    }

    /// The key of the changed element, or null when another attribute changed.
    template <AttributeOf<Entity> Attribute>
    [[nodiscard]] typename Attribute::Key const *keyOf(Attribute attribute) const noexcept {
        return isOf(attribute) ? static_cast<typename Attribute::Key const *>(change_.key_)
                               : nullptr;
    }

  private:
    Change const &change_;
};

} // namespace Pelo
