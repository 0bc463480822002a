#pragma once

#include <cstdint>
#include <string_view>

namespace Pelo {

/// Identifies an attribute among those of its class: a hash of the attribute's name, so that it
/// is the same in every library of the process and needs no numbering by hand.
using AttributeId = std::uint32_t;

constexpr AttributeId attributeId(std::string_view name) noexcept {
    AttributeId id = 2166136261U; // FNV-1a
    for (char const c : name) {
        id = (id ^ static_cast<unsigned char>(c)) * 16777619U;
    }
    return id;
}

/// A scalar attribute of an entity: a change of it carries no key.
struct ScalarAttribute {
    constexpr explicit ScalarAttribute(std::string_view name) noexcept : id(attributeId(name)) {}
    AttributeId id;
};

/// A collection attribute of an entity: a change of it carries the key of the changed element.
template <class Key>
struct KeyedAttribute {
    constexpr explicit KeyedAttribute(std::string_view name) noexcept : id(attributeId(name)) {}
    AttributeId id;
};

/// One change of one attribute, as it is told to a subscriber. Valid during the call only; so is
/// the key it shows.
class Change {
  public:
    explicit Change(ScalarAttribute attribute) noexcept : attribute_(attribute.id) {}
    template <class Key>
    Change(KeyedAttribute<Key> attribute, Key const &key) noexcept
        : attribute_(attribute.id), key_(&key) {}

    [[nodiscard]] bool isOf(ScalarAttribute attribute) const noexcept {
        return attribute_ == attribute.id;
    }

    /// The key of the changed element, or nothing when another attribute changed.
    template <class Key>
    [[nodiscard]] Key const *keyOf(KeyedAttribute<Key> attribute) const noexcept {
        return attribute_ == attribute.id ? static_cast<Key const *>(key_) : nullptr;
    }

  private:
    AttributeId attribute_;
    void const *key_ = nullptr;
};

} // namespace Pelo
