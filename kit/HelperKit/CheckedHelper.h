#pragma once

#include "HelperKit/Call.h"
#include "HelperKit/CallingHelper.h"
#include "HelperKit/Contents.h"
#include "Mox/Ptr.h"
#include "Vyr/Clock.h"

#include <array>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>

namespace UmoHelper {

/// A helper around any helper. It passes every call on as it is, and holds the calls and their
/// results against the contract of UmoNatFlowMcastHelper; it counts and tells them, and knows what
/// the chip should hold. A call that breaks the contract changes nothing of that.
class CheckedHelper final : public CallingHelper {
  public:
    /// How the contract is broken: by the caller, which is the library, or by the helper inside.
    enum class Breach : std::uint8_t {
        call,              // by the caller
        refusedPortSet,    // by a result
        wrongIdentifier,   // given out twice, or changed
        failedTranslation, // which the library does not look at
        nestedCall,        // the helper made the library call it from inside a call
    };
    static constexpr std::size_t kBreaches = 5;
    struct Finding {
        Breach breach = Breach::call;
        Call const &call; // valid during the report
        std::string problem;

        /// `CALL: PROBLEM`.
        [[nodiscard]] std::string text() const { return call.text() + ": " + problem; }
    };
    /// Receives what was found; it must not call the helper.
    using Findings = std::function<void(Finding const &finding)>;
    /// A call that has returned.
    struct Logged {
        Call const &call; // valid during the report, like the result
        Call::Result const &result;
        Vyr::Time began{}; // by the log's clock
        Vyr::Time ended{};

        /// `CALL -> RESULT`.
        [[nodiscard]] std::string text() const { return call.text() + textOf(result); }
    };
    using Log = std::function<void(Logged const &logged)>;

    CheckedHelper(Mox::Ptr<UmoNatFlowMcastHelper> helper, Findings findings);

    /// An empty `log` ends the log. Without a clock all times are 0.
    void logIs(Log log, Mox::Ptr<Vyr::Clock const> clock = nullptr) {
        log_ = std::move(log);
        clock_ = std::move(clock);
    }

    /// What the chip should hold, but for mayHold(). That includes translations which the helper
    /// failed to program.
    [[nodiscard]] Contents const &contents() const { return table_.contents(); }

    /// Groups that the chip may keep or reclaim as it likes: halves of pairs, of which it refused
    /// the other half. The library neither uses nor frees them.
    [[nodiscard]] std::set<std::uint32_t> const &mayHold() const { return mayHold_; }

    /// The first difference between what the chip should hold and what it holds, in words; empty:
    /// there is none.
    [[nodiscard]] std::string differenceFrom(Contents chip) const;

    [[nodiscard]] std::uint64_t calls(Operation operation) const {
        return calls_.at(static_cast<std::size_t>(operation));
    }
    [[nodiscard]] std::uint64_t allCalls() const;
    /// Groups that the helper did not give.
    [[nodiscard]] std::uint64_t refusals() const { return refusals_; }
    [[nodiscard]] std::uint64_t found(Breach breach) const {
        return found_.at(static_cast<std::size_t>(breach));
    }

  private:
    using Identity = std::pair<std::uint32_t, std::uint32_t>; // group, port set

    /// What a call is about, as it is before the call; null: it is not there.
    struct Place {
        Group *group;
        PortSet *portSet;
    };

    Call::Result called(Call const &call) override;
    [[nodiscard]] Place placeOf(Call const &call);
    [[nodiscard]] Vyr::Time now() const { return clock_ ? clock_->now() : Vyr::Time{}; }
    [[nodiscard]] bool followsFromAResult(Call const &call) const;
    [[nodiscard]] std::string problemOf(Call const &call, Place const &place) const;
    [[nodiscard]] static std::string problemOfPortSet(Call const &call, PortSet const *replaced);
    [[nodiscard]] static std::string problemOfTranslation(Call const &call, PortSet const &portSet);
    void carryOut(Call const &call, Place const &place, Call::Result const &result);
    void created(Call const &call, std::uint32_t id);
    void updated(Call const &call, Place const &place, std::uint32_t id);
    void tell(Breach breach, Call const &call, std::string problem);

    Mox::Ptr<UmoNatFlowMcastHelper> helper_;
    Findings findings_;
    Log log_;
    Mox::Ptr<Vyr::Clock const> clock_;
    ContentsTable table_;
    std::set<std::uint32_t> mayHold_;
    std::array<std::uint64_t, kOperations> calls_{};
    std::array<std::uint64_t, kBreaches> found_{};
    std::uint64_t refusals_ = 0;
    std::uint32_t highestGroup_ = 0;
    std::uint32_t highestPortSet_ = 0;
    Call unicastHalf_;                // the last request for one, until that for its other half
    std::uint32_t unicastHalfId_ = 0; // which was given for it
    bool inside_ = false;             // a call
    Identity justDeleted_{};          // whose translations may still be deleted
    // Groups that lost their order by a result: calls for them may look like the caller's fault.
    std::set<std::uint32_t> ambiguous_; // an identifier was given out twice
    std::set<std::uint32_t> refusedIn_; // a port set was refused: its translations come with id 0
};

} // namespace UmoHelper
