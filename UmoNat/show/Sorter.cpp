#include "UmoNat/show/Sorter.h"

#include "Base/Assert.h"

#include <algorithm>
#include <ostream>
#include <utility>

NatFlowMcastCliSorter::MoxEntryId::MoxEntryId(Pelo::String name, bool value)
    : name_(std::move(name)), value_(value) {}

NatFlowMcastCliSorter::NatFlowMcastCliSorter(NatFlowMcastCliSorter const &other) {
    for (auto const &[name, entry] : other.entryId_) {
        entryId_.emplace(name, Mox::make<MoxEntryId>(name, entry->value()));
    }
}

NatFlowMcastCliSorter::NatFlowMcastCliSorter(Pelo::String const & /*text*/) {
    Base::assertThat(
        false, "\"No String constructor for NatFlowMcastCliSorter - has collection\" == nullptr");
}

void NatFlowMcastCliSorter::entryIdIs(Pelo::String const &name, bool value) {
    auto &entry = entryId_[name];
    if (entry) {
        entry->valueIs(value);
    } else {
        entry = Mox::make<MoxEntryId>(name, value);
    }
}

Mox::Ptr<NatFlowMcastCliSorter::MoxEntryId>
NatFlowMcastCliSorter::operator[](Pelo::String const &name) const {
    auto const found = entryId_.find(name);
    return found == entryId_.end() ? nullptr : found->second;
}

bool NatFlowMcastCliSorter::isEq(NatFlowMcastCliSorter const &other) const {
    return std::equal(begin(), end(), other.begin(), other.end(), [](auto const &a, auto const &b) {
        return a.first == b.first && a.second->value() == b.second->value();
    });
}

std::ostream &operator<<(std::ostream &out, NatFlowMcastCliSorter const &sorter) {
    return out << sorter.stringValue();
}
