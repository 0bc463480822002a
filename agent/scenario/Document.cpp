#include "agent/scenario/Document.h"

#include "agent/scenario/Limits.h"

#include <yaml-cpp/depthguard.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

#include <sstream>
#include <unordered_map>
#include <utility>

namespace UmoAgent {

namespace {

using YAML::Mark;

/// A document that is valid YAML, but is not accepted.
struct Unacceptable {
    Mark mark;
    std::string found, expected;
};

/// Makes values from the parser's events, and records where documents start.
class DocumentBuilder final : public YAML::EventHandler {
  public:
    using Anchor = YAML::anchor_t;
    using Style = YAML::EmitterStyle::value;

    std::vector<Mark> starts;
    Mark last;         // where the last value began
    Document document; // the first one

    void OnDocumentStart(Mark const &mark) override { starts.push_back(mark); }
    void OnDocumentEnd() override {}
    void OnNull(Mark const &mark, Anchor anchor) override {
        add(Document::Kind::null, mark, anchor);
        close();
    }
    void OnAlias(Mark const &mark, Anchor anchor) override {
        if (first()) {
            repeat(mark, anchors_.at(anchor));
        }
    }
    void OnScalar(Mark const &mark, std::string const &tag, Anchor anchor,
                  std::string const &value) override {
        if (!first()) {
            return;
        }
        bool const isPlain = tag == "?";
        if (isPlain && value == "<<" && expectsKey()) {
            throw Unacceptable{mark, "a merge key \"<<\"",
                               "the keys themselves; an alias stands for a whole value"};
        }
        add(Document::Kind::scalar, mark, anchor);
        Document::Value &scalar = document.values.back();
        scalar.begin = static_cast<std::uint32_t>(document.texts.size());
        scalar.size = static_cast<std::uint32_t>(value.size());
        document.texts += value;
        close();
    }
    void OnSequenceStart(Mark const &mark, std::string const & /*tag*/, Anchor anchor,
                         Style /*style*/) override {
        add(Document::Kind::sequence, mark, anchor);
    }
    void OnSequenceEnd() override { close(); }
    void OnMapStart(Mark const &mark, std::string const & /*tag*/, Anchor anchor,
                    Style /*style*/) override {
        add(Document::Kind::map, mark, anchor);
    }
    void OnMapEnd() override { close(); }

  private:
    /// A second document is only reported, so its values are ignored.
    [[nodiscard]] bool first() const { return starts.size() <= 1; }

    [[nodiscard]] bool expectsKey() const {
        if (open_.empty()) {
            return false;
        }
        Document::Value const &parent = document.values[open_.back()];
        return parent.kind == Document::Kind::map && parent.size % 2 == 0;
    }

    void requireRoom(Mark const &mark, std::size_t more) const {
        if (more > Limits::kValues - document.values.size()) {
            throw Unacceptable{
                mark, "more than " + std::to_string(Limits::kValues) + " values, aliases expanded",
                "fewer"};
        }
    }

    void countItem() {
        if (!open_.empty()) {
            ++document.values[open_.back()].size;
        }
    }

    /// Adds a value, which is open until `close`.
    void add(Document::Kind kind, Mark const &mark, Anchor anchor) {
        if (!first()) {
            return;
        }
        requireRoom(mark, 1);
        countItem();
        last = mark;
        if (anchor != YAML::NullAnchor) {
            anchors_[anchor] = document.values.size();
        }
        open_.push_back(document.values.size());
        document.values.push_back({kind, mark.line + 1, mark.column + 1, 0, 0, 0});
    }

    void close() {
        if (first()) {
            document.values[open_.back()].end = static_cast<std::uint32_t>(document.values.size());
            open_.pop_back();
        }
    }

    /// Adds a copy of the value at `from`, with everything in it.
    void repeat(Mark const &mark, std::size_t from) {
        std::size_t const end = document.values[from].end;
        if (end == 0) {
            throw YAML::ParserException(mark, "an alias within what it stands for");
        }
        requireRoom(mark, end - from);
        countItem();
        auto const moved = static_cast<std::uint32_t>(document.values.size() - from);
        for (std::size_t at = from; at < end; ++at) {
            Document::Value copy = document.values[at];
            copy.end += moved;
            document.values.push_back(copy);
        }
    }

    std::vector<std::size_t> open_; // from the root to the current value
    std::unordered_map<Anchor, std::size_t> anchors_;
};

Place placeOf(Mark const &mark) {
    return mark.is_null() ? Place{1, 1} : Place{mark.line + 1, mark.column + 1};
}

} // namespace

std::optional<Document> readDocument(std::string const &text, ScenarioErrors &errors) {
    constexpr std::string_view kStray = ",:?]}";
    DocumentBuilder builder;
    try {
        std::istringstream in(text);
        YAML::Parser parser(in);
        if (!parser.HandleNextDocument(builder)) {
            errors.add(Place{1, 1}, "an empty file", "a scenario");
            return std::nullopt;
        }
        if (!parser.HandleNextDocument(builder)) {
            return std::move(builder.document);
        }
        // The parser does not advance past a stray comma, and would find empty documents for ever.
        auto const second = static_cast<std::size_t>(builder.starts[1].pos);
        if (second < text.size() && kStray.find(text[second]) != std::string_view::npos) {
            errors.add(placeOf(builder.starts[1]),
                       std::string("malformed YAML: unexpected \"") + text[second] + '"');
        } else { // also if a byte-order mark has shifted the position
            errors.add(placeOf(builder.starts[1]), "a second document", "one scenario in a file");
        }
    } catch (Unacceptable const &what) {
        errors.add(placeOf(what.mark), what.found, what.expected);
    } catch (YAML::DeepRecursion const &) {
        errors.add(placeOf(builder.last), "nesting that is too deep", "at most 200 levels");
    } catch (YAML::Exception const &malformed) {
        errors.add(placeOf(malformed.mark), "malformed YAML: " + malformed.msg);
    }
    return std::nullopt;
}

} // namespace UmoAgent
