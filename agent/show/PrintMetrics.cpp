#include "UmoNat/UmoNatFlowMcastTopologySm.h"
#include "UmoNat/UmoNatFlowPolicySm.h"
#include "agent/openflow/SwitchProgrammer.h"
#include "agent/show/GroupState.h"
#include "agent/show/Printers.h"
#include "agent/show/Values.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <ostream>
#include <string>
#include <utility>

namespace UmoAgent {

namespace {

double inSeconds(Vyr::Time time) {
    return std::chrono::duration<double>(time).count();
}

/// Collects metrics. A sample belongs to the metric that was declared last.
class Metrics {
  public:
    void declare(char const *name, char const *type, char const *help) {
        metrics_.push_back(
            record({{"name", name}, {"type", type}, {"help", help}, {"samples", Json::array()}}));
    }
    /// `suffix` is appended to the name.
    void sample(Json value, Json labels = Json::object(), char const *suffix = "") {
        std::string const name = textOf(metrics_.back(), "name") + suffix;
        metrics_.back().at("samples").push_back(
            record({{"name", name}, {"labels", std::move(labels)}, {"value", std::move(value)}}));
    }
    [[nodiscard]] Json take() { return record({{"metrics", std::move(metrics_)}}); }

  private:
    Json metrics_ = Json::array();
};

void addChip(Metrics &metrics, ForwardingAgent const &agent) {
    SoftSwitch const &chip = agent.chip();
    metrics.declare("umo_helper_calls_total", "counter", "Calls of the switch chip.");
    for (std::size_t i = 0; i < UmoHelper::kOperations; ++i) {
        metrics.sample(agent.helper().calls(static_cast<UmoHelper::Operation>(i)),
                       record({{"operation", UmoHelper::operationNames().at(i)}}));
    }
    metrics.declare("umo_refusals_total", "counter", "Groups and port sets that the chip refused.");
    metrics.sample(chip.refusals());
    metrics.declare("umo_contract_errors_total", "counter",
                    "Calls that broke the contract of the chip's interface.");
    metrics.sample(agent.contractErrors());
    metrics.declare("umo_chip_groups", "gauge", "Groups in use.");
    metrics.sample(chip.groupsInUse());
    metrics.declare("umo_chip_groups_capacity", "gauge", "Groups that the chip has room for.");
    metrics.sample(chip.capacity().groups);
}

void addMatches(Metrics &metrics, UmoNatFlowMcastSm const &root) {
    constexpr std::array kStates{GroupState::none, GroupState::programmed, GroupState::waiting,
                                 GroupState::stranded};
    std::array<std::uint64_t, kStates.size()> counts{};
    for (auto const &[policyName, policy] : root.policySm()) {
        for (auto const &[matchName, match] : policy->matchSm()) {
            ++counts.at(static_cast<std::size_t>(groupStateOf(root, *match)));
        }
    }
    metrics.declare("umo_matches", "gauge", "Matches by the state of their groups.");
    for (GroupState const state : kStates) {
        metrics.sample(counts.at(static_cast<std::size_t>(state)),
                       record({{"state", textOf(state)}}));
    }
}

void addBacklog(Metrics &metrics, UmoNatFlowMcastSm const &root, Meter const &meter) {
    metrics.declare("umo_backlog_actions", "gauge", "Actions that are queued for evaluation.");
    metrics.sample(root.topologySm()->actionSmUpdateBacklog().size());
    metrics.declare("umo_evaluations_at_once_total", "counter",
                    "Evaluations of actions that changed themselves, or with their match.");
    metrics.sample(meter.evaluationsAtOnce());
    metrics.declare("umo_queue_delay_seconds", "histogram",
                    "From the queueing of an action to its evaluation.");
    std::uint64_t count = 0;
    for (std::size_t i = 0; i < Histogram::kBounds.size(); ++i) {
        count += meter.queueDelays().counts().at(i);
        metrics.sample(count, record({{"le", Json(inSeconds(Histogram::kBounds.at(i))).dump()}}),
                       "_bucket");
    }
    count += meter.queueDelays().counts().back();
    metrics.sample(count, record({{"le", "+Inf"}}), "_bucket");
    metrics.sample(inSeconds(meter.queueDelays().sum()), Json::object(), "_sum");
    metrics.sample(count, Json::object(), "_count");
}

void addTasks(Metrics &metrics, UmoNatFlowMcastSm const &root) {
    std::array const tasks{root.topologySm()->actionSmUpdateBacklogTask(),
                           root.unprogrammedGroupTask()};
    metrics.declare("umo_task_runs_total", "counter", "Runs of the library's tasks.");
    for (auto const &task : tasks) {
        metrics.sample(task->taskRunCount(), record({{"task", task->nameString()}}));
    }
    metrics.declare("umo_task_seconds_total", "counter", "Time that the tasks took.");
    for (auto const &task : tasks) {
        metrics.sample(inSeconds(task->taskRunTime()), record({{"task", task->nameString()}}));
    }
}

void addSwitch(Metrics &metrics, SwitchProgrammer const &programmer) {
    auto const &counters = programmer.counters();
    auto const add = [&](char const *name, char const *help, std::uint64_t value) {
        metrics.declare(name, "counter", help);
        metrics.sample(value);
    };
    add("umo_switch_bundles_total", "Bundles that the switch took.", counters.bundles);
    add("umo_switch_refused_bundles_total", "Bundles that the switch refused.", counters.refused);
    add("umo_switch_audits_total", "Comparisons with the switch.", counters.audits);
    add("umo_switch_mended_total", "Groups and flows that audits mended.", counters.mended);
    metrics.declare("umo_switch_in_step", "gauge",
                    "0 while the switch is away or refuses what it should have.");
    metrics.sample(programmer.begun() && programmer.trouble().empty() ? 1 : 0);
}

/// In the text format of Prometheus.
void printMetricsText(std::ostream &out, Json const &metrics) {
    for (Json const &metric : metrics.at("metrics")) {
        std::string const &name = textOf(metric, "name");
        out << "# HELP " << name << ' ' << textOf(metric, "help") << "\n# TYPE " << name << ' '
            << textOf(metric, "type") << '\n';
        for (Json const &sample : metric.at("samples")) {
            std::string labels;
            for (auto const &[label, value] : sample.at("labels").items()) {
                labels += (labels.empty() ? "{" : ",") + label + '=' + value.dump();
            }
            out << textOf(sample, "name") << labels << (labels.empty() ? " " : "} ")
                << sample.at("value").dump() << '\n';
        }
    }
}

} // namespace

void printMetrics(Reply const &reply, ForwardingAgent const &agent,
                  SwitchProgrammer const *programmer) {
    Metrics metrics;
    addChip(metrics, agent);
    addMatches(metrics, agent.root());
    addBacklog(metrics, agent.root(), agent.meter());
    addTasks(metrics, agent.root());
    if (programmer != nullptr) {
        addSwitch(metrics, *programmer);
    }
    reply.give(metrics.take(), printMetricsText);
}

} // namespace UmoAgent
