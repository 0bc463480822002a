#include "Mox/Collection.h"
#include "Timing.h"

#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

/// The collection against the two hash maps that one would use instead: find, insert, walk, and
/// erasing during a walk. Costs are per element.
namespace {

using Value = std::uint64_t;

/// `count` keys in an order unrelated to their values.
template <class Key>
std::vector<Key> const &keys(std::size_t count) {
    static std::map<std::size_t, std::vector<Key>> made;
    auto &keys = made[count];
    if (keys.empty()) {
        std::mt19937_64 random(count);
        while (keys.size() < count) { // the low bits make them distinct
            std::uint64_t const key = (random() << 20U) | keys.size();
            if constexpr (std::is_same_v<Key, std::string>) {
                keys.push_back("flow-" + std::to_string(key % 10000000000U));
            } else {
                keys.push_back(key);
            }
        }
        std::sort(keys.begin(), keys.end());
        keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
        std::shuffle(keys.begin(), keys.end(), random);
    }
    return keys;
}

template <class K>
struct MoxMap {
    using Key = K;
    Mox::Collection<Key, Value> map;

    void insert(Key const &key, Value value) { map.insert(key, value); }
    [[nodiscard]] Value find(Key const &key) const { return *map.find(key); }
    [[nodiscard]] Value walk() const {
        Value sum = 0;
        for (auto const &[key, value] : map) {
            sum += value;
        }
        return sum;
    }
    void walkAndErase() {
        for (auto const &[key, value] : map) {
            map.remove(key);
        }
    }
};

template <class Map>
struct PeerMap {
    using Key = typename Map::key_type;
    Map map;

    void insert(Key const &key, Value value) { map.emplace(key, value); }
    [[nodiscard]] Value find(Key const &key) const { return map.find(key)->second; }
    [[nodiscard]] Value walk() const {
        Value sum = 0;
        for (auto const &[key, value] : map) {
            sum += value;
        }
        return sum;
    }
    void walkAndErase() {
        for (auto it = map.begin(); it != map.end();) {
            map.erase(it++);
        }
    }
};

template <class Key>
using Std = PeerMap<std::unordered_map<Key, Value>>;
template <class Key>
using Absl = PeerMap<absl::flat_hash_map<Key, Value>>;

template <class Map>
std::unique_ptr<Map> filled(std::size_t count) {
    auto map = std::make_unique<Map>();
    Value value = 0;
    for (auto const &key : keys<typename Map::Key>(count)) {
        map->insert(key, ++value);
    }
    return map;
}

/// A map that is kept from run to run, for benchmarks that do not change it.
template <class Map>
Map const &standing(std::size_t count) {
    static std::map<std::size_t, std::unique_ptr<Map>> made;
    auto &map = made[count];
    if (!map) {
        map = filled<Map>(count);
    }
    return *map;
}

template <class Map>
void find(benchmark::State &state) {
    auto const count = static_cast<std::size_t>(state.range(0));
    Map const &map = standing<Map>(count);
    auto looked = keys<typename Map::Key>(count); // not in the order of insertion
    std::shuffle(looked.begin(), looked.end(), std::mt19937_64(1));
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(map.find(looked[next]));
        next = next + 1 == looked.size() ? 0 : next + 1;
    }
    Bench::elementsAre(state, 1);
}

template <class Map>
void walk(benchmark::State &state) {
    auto const count = static_cast<std::size_t>(state.range(0));
    Map const &map = standing<Map>(count);
    for (auto _ : state) {
        benchmark::DoNotOptimize(map.walk());
    }
    Bench::elementsAre(state, keys<typename Map::Key>(count).size());
}

/// Inserts all keys into a new map, and destroys it.
template <class Map>
void insert(benchmark::State &state) {
    auto const count = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(filled<Map>(count));
    }
    Bench::elementsAre(state, keys<typename Map::Key>(count).size());
}

/// Erases each element when the walk reaches it.
template <class Map>
void eraseInWalk(benchmark::State &state) {
    auto const count = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        auto const map = filled<Map>(count);
        Bench::timed(state, [&] { map->walkAndErase(); });
    }
    Bench::elementsAre(state, keys<typename Map::Key>(count).size());
}

template <class Map>
void registerMap(std::string const &keyName, char const *mapName) {
    auto const add = [&](char const *series, void (*run)(benchmark::State &)) {
        std::string const name = series + ("-" + keyName) + "/" + mapName;
        return benchmark::RegisterBenchmark(name.c_str(), run)
            ->RangeMultiplier(10)
            ->Range(100, 1000000);
    };
    add("find", find<Map>);
    add("walk", walk<Map>);
    add("insert", insert<Map>);
    add("erase-in-walk", eraseInWalk<Map>)->UseManualTime();
}

template <class Key>
void registerMaps(std::string const &keyName) {
    registerMap<MoxMap<Key>>(keyName, "Mox");
    registerMap<Std<Key>>(keyName, "std");
    registerMap<Absl<Key>>(keyName, "absl");
}

[[maybe_unused]] bool const registered = [] {
    registerMaps<std::uint64_t>("int");
    registerMaps<std::string>("string");
    return true;
}();

} // namespace
