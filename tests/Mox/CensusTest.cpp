#include "Mox/Census.h"
#include "Mox/Attributes.h"
#include "Mox/Reactor.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

namespace CensusTest {

class Leaf final : public Mox::Entity {
    MOX_KEY(Leaf, int, number)
};

class Tree final : public Mox::Entity {
    MOX_CHILDREN(int, Leaf, leaf)
};

class Machine : public Mox::Reactor {
  public:
    explicit Machine(bool fails) : fails_(fails) {}
    void handleInitialized() override {
        if (fails_) {
            throw std::runtime_error("no start");
        }
    }

  private:
    bool fails_;
};

/// What is alive of the classes of this file, as "Class count; ".
std::string census() {
    std::map<std::string, std::size_t> const sizes{
        {"Leaf", sizeof(Leaf)}, {"Machine", sizeof(Mox::Live<Machine>)}, {"Tree", sizeof(Tree)}};
    std::string text;
    for (auto const &[name, size, live] : Mox::Census::live()) {
        if (name.starts_with("CensusTest::")) {
            EXPECT_EQ(size, sizes.at(name.substr(12)));
            text += name.substr(12) + ' ' + std::to_string(live) + "; ";
        }
    }
    return text;
}

TEST(Census, CountsWhatWasMadeWhileItWasOnUntilItIsGone) {
    auto const before = Mox::make<Tree>();
    before->leafIs(0);
    EXPECT_EQ(census(), "");
    Mox::Census::activeIs(true);
    auto tree = Mox::make<Tree>();
    for (int i = 0; i < 5; ++i) {
        tree->leafIs(i);
        before->leafIs(i); // one of them was there
    }
    auto machine = Mox::reactorIs<Machine>(false);
    auto const copy = machine;
    EXPECT_THROW(Mox::reactorIs<Machine>(true), std::runtime_error);
    EXPECT_EQ(census(), "Leaf 9; Machine 1; Tree 1; ");
    tree->leafDel(3);
    before->leafDel(0);
    machine = nullptr; // the copy holds it
    EXPECT_EQ(census(), "Leaf 8; Machine 1; Tree 1; ");
    Mox::Census::activeIs(false);
    auto const after = Mox::make<Leaf>(6);
    tree = nullptr;
    EXPECT_EQ(census(), "Leaf 4; Machine 1; ");
    before->leafDelAll();
    EXPECT_EQ(census(), "Machine 1; ");
}

} // namespace CensusTest
