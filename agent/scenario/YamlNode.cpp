#include "agent/scenario/YamlNode.h"

#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <utility>

namespace UmoAgent {

namespace {

using YAML::Mark;

/// Makes nodes of what the parser finds, and notes where documents start.
class NodeBuilder final : public YAML::EventHandler {
  public:
    using Anchor = YAML::anchor_t;
    using Style = YAML::EmitterStyle::value;

    std::vector<Mark> starts;
    std::shared_ptr<YamlNode const> root; // of the last document

    void OnDocumentStart(Mark const &mark) override {
        starts.push_back(mark);
        anchors_.clear();
    }
    void OnDocumentEnd() override {}
    void OnNull(Mark const &mark, Anchor anchor) override {
        add(YamlNode::Kind::null, mark, anchor);
    }
    void OnAlias(Mark const &mark, Anchor anchor) override {
        std::shared_ptr<YamlNode> const &named = anchors_.at(anchor);
        if (std::find(open_.begin(), open_.end(), named) != open_.end()) {
            throw YAML::ParserException(mark, "an alias within what it stands for");
        }
        place(named);
    }
    void OnScalar(Mark const &mark, std::string const & /*tag*/, Anchor anchor,
                  std::string const &value) override {
        add(YamlNode::Kind::scalar, mark, anchor)->text = value;
    }
    void OnSequenceStart(Mark const &mark, std::string const & /*tag*/, Anchor anchor,
                         Style /*style*/) override {
        open_.push_back(add(YamlNode::Kind::sequence, mark, anchor));
    }
    void OnSequenceEnd() override { open_.pop_back(); }
    void OnMapStart(Mark const &mark, std::string const & /*tag*/, Anchor anchor,
                    Style /*style*/) override {
        open_.push_back(add(YamlNode::Kind::map, mark, anchor));
    }
    void OnMapEnd() override { open_.pop_back(); }

  private:
    std::shared_ptr<YamlNode> add(YamlNode::Kind kind, Mark const &mark, Anchor anchor) {
        auto node = std::make_shared<YamlNode>(YamlNode{kind, mark.line + 1, mark.column + 1});
        if (anchor != YAML::NullAnchor) {
            anchors_[anchor] = node;
        }
        place(node);
        return node;
    }
    void place(std::shared_ptr<YamlNode> const &node) {
        if (open_.empty()) {
            root = node;
        } else {
            open_.back()->items.push_back(node);
        }
    }

    std::vector<std::shared_ptr<YamlNode>> open_; // from the root to where the parser is
    std::map<Anchor, std::shared_ptr<YamlNode>> anchors_;
};

Place placeOf(Mark const &mark) {
    return mark.is_null() ? Place{1, 1} : Place{mark.line + 1, mark.column + 1};
}

} // namespace

std::shared_ptr<YamlNode const> readDocument(std::string const &text, ScenarioErrors &errors) {
    constexpr std::string_view kStray = ",:?]}";
    try {
        std::istringstream in(text);
        YAML::Parser parser(in);
        NodeBuilder builder;
        if (!parser.HandleNextDocument(builder)) {
            errors.add(Place{1, 1}, "an empty file", "a scenario");
            return nullptr;
        }
        std::shared_ptr<YamlNode const> document = std::move(builder.root);
        if (!parser.HandleNextDocument(builder)) {
            return document;
        }
        // On a stray comma the parser stands still, and would find empty documents for ever.
        auto const second = static_cast<std::size_t>(builder.starts[1].pos);
        if (second < text.size() && kStray.find(text[second]) != std::string_view::npos) {
            errors.add(placeOf(builder.starts[1]),
                       std::string("malformed YAML: unexpected \"") + text[second] + '"');
        } else { // also where a byte-order mark has shifted the position
            errors.add(placeOf(builder.starts[1]), "a second document", "one scenario in a file");
        }
    } catch (YAML::Exception const &malformed) {
        errors.add(placeOf(malformed.mark), "malformed YAML: " + malformed.msg);
    }
    return nullptr;
}

} // namespace UmoAgent
