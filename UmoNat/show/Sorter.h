#pragma once

#include "Mox/Ptr.h"
#include "Pelo/String.h"

#include <iosfwd>
#include <map>

/// Sorts names for the tables of the show command; the status tree keeps the order of insertion.
/// Lives during one command.
class NatFlowMcastCliSorter {
  public:
    /// One name, with a flag for any use.
    class MoxEntryId final : public Mox::PtrInterface {
      public:
        MoxEntryId(Pelo::String name, bool value);

        [[nodiscard]] Pelo::String const &name() const noexcept { return name_; }
        [[nodiscard]] bool value() const noexcept { return value_; }
        void valueIs(bool value) noexcept { value_ = value; }

      private:
        Pelo::String const name_;
        bool value_;
    };
    using Entries = std::map<Pelo::String, Mox::Ptr<MoxEntryId>>;
    using Iterator = Entries::const_iterator;

    NatFlowMcastCliSorter() = default;

    /// Copies the entries too.
    NatFlowMcastCliSorter(NatFlowMcastCliSorter const &other);
    NatFlowMcastCliSorter(NatFlowMcastCliSorter &&other) noexcept = default;
    NatFlowMcastCliSorter &operator=(NatFlowMcastCliSorter other) noexcept {
        entryId_.swap(other.entryId_);
        return *this;
    }
    ~NatFlowMcastCliSorter() = default;

    /// There is no such conversion: a sorter cannot be read from text. Stops the process.
    explicit NatFlowMcastCliSorter(Pelo::String const &text);

    /// Adds the name, or sets the value of its existing entry.
    void entryIdIs(Pelo::String const &name, bool value);
    void entryIdDel(Pelo::String const &name) { entryId_.erase(name); }
    void entryIdDel(Iterator entry) { entryId_.erase(entry); }
    void entryIdDelAll() { entryId_.clear(); }

    [[nodiscard]] Entries const &entryId() const noexcept { return entryId_; }

    /// The entry of that name; null if there is none.
    [[nodiscard]] Mox::Ptr<MoxEntryId> operator[](Pelo::String const &name) const;

    /// The entry of that name, or else the next in order.
    [[nodiscard]] Iterator findOrNext(Pelo::String const &name) const {
        return entryId_.lower_bound(name);
    }

    // In ascending order of names.
    [[nodiscard]] Iterator begin() const noexcept { return entryId_.begin(); }
    [[nodiscard]] Iterator end() const noexcept { return entryId_.end(); }

    /// Whether both have the same names with the same values.
    [[nodiscard]] bool isEq(NatFlowMcastCliSorter const &other) const;

    /// The same text for every sorter.
    [[nodiscard]] Pelo::String stringValue() const { return "None"; }

  private:
    Entries entryId_;
};

std::ostream &operator<<(std::ostream &out, NatFlowMcastCliSorter const &sorter);
