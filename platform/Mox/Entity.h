#pragma once

#include "Mox/PtrInterface.h"
#include "Pelo/Publisher.h"
#include "Pelo/String.h"

namespace Mox {

/// An object with typed attributes that publishes its changes: the attribute and, for a collection,
/// the key of the changed element. Attributes are declared with the macros of Mox/Attributes.h. A
/// const entity can be read and followed. Only the entity's writer should hold a reference to the
/// non-const one.
class PLATFORM_API Entity : public PtrInterface {
  public:
    [[nodiscard]] Pelo::Notifier const &notifier() const noexcept { return publisher_; }

    /// The entity's name, empty for entities without one.
    [[nodiscard]] virtual Pelo::String nameString() const;

  protected:
    Entity() = default;
    ~Entity() override;

    template <Pelo::AttributeId Id>
    void publishChange(Pelo::ScalarAttribute<Id> attribute) const noexcept {
        publisher_.publishChange(Pelo::Change(attribute));
    }
    template <class Key, Pelo::AttributeId Id>
    void publishChange(Pelo::KeyedAttribute<Key, Id> attribute, Key const &key) const noexcept {
        publisher_.publishChange(Pelo::Change(attribute, key));
    }

  private:
    Pelo::Publisher publisher_;
};

} // namespace Mox
