#include "Mox/Trace.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace Mox {

namespace {

/// One piece of a setting: the handles it names and the levels it switches on.
struct LevelRule {
    std::string name;
    bool prefix; // the name ended in '*'
    unsigned levels;

    [[nodiscard]] bool matches(std::string_view handle) const {
        return prefix ? handle.substr(0, name.size()) == name : handle == name;
    }
};

[[noreturn]] void malformed(std::string_view piece) {
    throw std::invalid_argument("malformed trace setting \"" + std::string(piece) +
                                "\": expected HANDLE/LEVEL or HANDLE/FIRST-LAST with levels 0 to 9"
                                ", and * only at the end of HANDLE");
}

unsigned parseLevel(std::string_view text, std::string_view piece) {
    unsigned level = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), level);
    if (error != std::errc() || end != text.data() + text.size() ||
        level > unsigned{TraceHandle::kMaxLevel}) {
        malformed(piece);
    }
    return level;
}

LevelRule parseRule(std::string_view piece) {
    std::size_t const slash = piece.rfind('/');
    if (slash == std::string_view::npos || slash == 0) {
        malformed(piece);
    }
    std::string_view name = piece.substr(0, slash);
    std::string_view const levels = piece.substr(slash + 1);
    bool const prefix = name.back() == '*';
    if (prefix) {
        name.remove_suffix(1);
    }
    std::size_t const dash = levels.find('-');
    unsigned const first = parseLevel(levels.substr(0, dash), piece);
    unsigned const last =
        dash == std::string_view::npos ? first : parseLevel(levels.substr(dash + 1), piece);
    if (name.find_first_of("* ") != std::string_view::npos || first > last) {
        malformed(piece);
    }
    unsigned const mask = ((2U << last) - 1U) & ~((1U << first) - 1U);
    return {std::string(name), prefix, mask};
}

class StandardErrorSink final : public TraceSink {
  public:
    void message(std::string_view handle, int level, std::string_view text) override {
        std::fprintf(stderr, "%.*s/%d %.*s\n", static_cast<int>(handle.size()), handle.data(),
                     level, static_cast<int>(text.size()), text.data());
    }
};

} // namespace

/// The process's handles and settings. The handles of an unloaded library are removed.
class TraceRegistry {
  public:
    static TraceRegistry &instance() {
        static TraceRegistry registry;
        return registry;
    }

    void add(TraceHandle &handle) {
        handles_.push_back(&handle);
        apply(handle);
    }
    void remove(TraceHandle &handle) { std::erase(handles_, &handle); }

    void rulesIs(std::vector<LevelRule> rules) {
        rules_ = std::move(rules);
        for (TraceHandle *handle : handles_) {
            apply(*handle);
        }
    }

    [[nodiscard]] std::vector<TraceHandle *> const &handles() const { return handles_; }

    TraceSink *sink = nullptr;
    StandardErrorSink standardError;

  private:
    void apply(TraceHandle &handle) const {
        handle.levels_ = 0;
        for (LevelRule const &rule : rules_) {
            if (rule.matches(handle.name_)) {
                handle.levels_ |= rule.levels;
            }
        }
    }

    std::vector<TraceHandle *> handles_;
    std::vector<LevelRule> rules_;
};

TraceSink::~TraceSink() = default;

TraceHandle::TraceHandle(char const *name) : name_(name) {
    TraceRegistry::instance().add(*this);
}

TraceHandle::~TraceHandle() {
    TraceRegistry::instance().remove(*this);
}

void TraceHandle::write(int level, std::string const &text) const {
    TraceRegistry &registry = TraceRegistry::instance();
    TraceSink &sink = registry.sink != nullptr ? *registry.sink : registry.standardError;
    sink.message(name_, level, text);
}

std::vector<std::string> traceLevelsIs(std::string_view setting) {
    TraceRegistry &registry = TraceRegistry::instance();
    std::vector<LevelRule> rules;
    std::vector<std::string> unknown;
    for (bool more = !setting.empty(); more;) {
        std::size_t const comma = setting.find(',');
        std::string_view const piece = setting.substr(0, comma);
        LevelRule const &rule = rules.emplace_back(parseRule(piece));
        auto const &handles = registry.handles();
        if (std::none_of(handles.begin(), handles.end(),
                         [&](TraceHandle const *handle) { return rule.matches(handle->name()); })) {
            unknown.emplace_back(piece);
        }
        more = comma != std::string_view::npos;
        setting.remove_prefix(more ? comma + 1 : 0);
    }
    registry.rulesIs(std::move(rules));
    return unknown;
}

std::vector<TraceHandle const *> traceHandles() {
    auto const &registered = TraceRegistry::instance().handles();
    std::vector<TraceHandle const *> handles(registered.begin(), registered.end());
    std::sort(handles.begin(), handles.end(), [](TraceHandle const *a, TraceHandle const *b) {
        return std::string_view(a->name()) < b->name();
    });
    return handles;
}

TraceSink *traceSinkIs(TraceSink *sink) noexcept {
    return std::exchange(TraceRegistry::instance().sink, sink);
}

} // namespace Mox
