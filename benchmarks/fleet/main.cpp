// Simulates a fleet of clients, in every story and with every policy, and writes what the service sees.
//
// usage: fleet OUTPUT_FOLDER CLIENTS [NAME_PART]
//
// The folder gets a table for each run whose name contains NAME_PART (second, requests, refused, recovered) and
// summary.csv.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>

#include "benchmarks/fleet/simulation.h"

using namespace qlczephra::fleet;

namespace {

constexpr std::uint32_t mostClients = 20'000'000;

void writeSeconds(std::ostream& table, const Report& report) {
  table << "second,requests,refused,recovered\n";
  for (std::size_t second = 0; second < report.seconds.size(); ++second) {
    const Second& row = report.seconds[second];
    table << second << ',' << row.requests << ',' << row.refused << ',' << row.recovered << '\n';
  }
}

// Seconds since the trouble ended; empty if never.
std::string recovery(const Report& report, const Story& story, double share) {
  const auto second = report.recoveredBy(share);
  return second ? std::to_string(*second + 1 - story.troubleEnds) : std::string();
}

void writeSummary(std::ostream& summary, const Run& run, const Report& report) {
  const Story& story = run.story;
  summary << run.name() << ',' << report.clients << ',' << report.peak(story.troubleBegins, story.troubleEnds) << ','
          << report.peak(story.troubleEnds, story.length) << ',' << report.requests() << ',' << report.refused() << ','
          << recovery(report, story, 0.5) << ',' << recovery(report, story, 0.99) << ',' << recovery(report, story, 1)
          << ',' << report.longestWait << ',' << report.wholeDocuments << ',' << report.notModified << ','
          << report.gaveUp << std::endl;
}

}  // namespace

int main(int count, char** arguments) {
  std::uint32_t clients = 0;
  const std::string_view number = count == 3 || count == 4 ? arguments[2] : "";
  const auto [end, problem] = std::from_chars(number.data(), number.data() + number.size(), clients);
  if (problem != std::errc() || end != number.data() + number.size() || clients == 0 || clients > mostClients) {
    std::cerr << "fleet: give OUTPUT_FOLDER, a number of clients from 1 to " << mostClients
              << ", and perhaps a part of a run's name\n";
    return 2;
  }
  const std::string_view part = count == 4 ? arguments[3] : "";
  const std::filesystem::path folder = arguments[1];
  std::filesystem::create_directories(folder);
  std::ofstream summary(folder / "summary.csv");
  summary
      << "run,clients,peak_in_trouble,peak_after,requests,refused,half_recovered,99_percent_recovered,all_recovered,"
         "longest_wait,whole_documents,not_modified,gave_up\n";
  for (const Run& run : allRuns()) {
    if (run.name().find(part) == std::string::npos) continue;
    const Report report = simulate(run, clients, 1);
    std::ofstream table(folder / (run.name() + ".csv"));
    writeSeconds(table, report);
    writeSummary(summary, run, report);
    if (!table.flush() || !summary) {
      std::cerr << "fleet: cannot write into " << folder << '\n';
      return 1;
    }
  }
  return 0;
}
