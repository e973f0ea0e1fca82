#include "job_files.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora::tools {
namespace {

namespace fs = std::filesystem;

constexpr double kTaskSeconds = 180.0;  // at least, where there is so much to do
constexpr double kLeastUse = 0.95;      // of a task's time is for its units, not for preparing
constexpr double kTimeMargin = 3.0;     // of limits, as machines differ and share
constexpr double kMemoryMargin = 1.3;
constexpr double kMegabyte = 1048576.0;
constexpr std::size_t kMostTasks =
    1000;  // as many as Slurm takes in one array, if not told otherwise

// As one word of a shell's command.
std::string quoted(const std::string& word) {
  std::string text = "'";
  for (const char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

std::size_t groupFor(const Forecast& forecast) {
  const double overhead = forecast.before * kLeastUse / (1.0 - kLeastUse);
  const double seconds = std::max(kTaskSeconds, overhead);
  const double units = std::ceil(seconds / std::max(forecast.unit(), 1e-3));
  const std::size_t fewest = (forecast.units + kMostTasks - 1) / kMostTasks;
  const double most = static_cast<double>(forecast.units);
  return std::max(fewest, static_cast<std::size_t>(std::clamp(units, 1.0, most)));
}

// Ranges of units, one a task.
std::vector<std::string> tasksOf(std::size_t units, std::size_t group) {
  std::vector<std::string> tasks;
  for (std::size_t first = 0; first < units; first += group) {
    const std::size_t last = std::min(first + group, units) - 1;
    tasks.push_back(format("%zu-%zu", first, last));
  }
  return tasks;
}

class Job {
 public:
  explicit Job(const JobRequest& request)
      : request_(request),
        folder_(request.folder + "/plan"),
        group_(request.group > 0 ? request.group : groupFor(request.forecast)),
        tasks_(tasksOf(request.forecast.units, group_)) {}

  std::string write() {
    makeFolder(folder_);
    writeCommand("unit", request_.unit, " \"$@\"");
    writeCommand("join", request_.join, "");
    if (request_.engine == Engine::kSlurm) return writeSlurm();
    return request_.engine == Engine::kParallel ? writeParallel() : writeMake();
  }

 private:
  void writeScript(const std::string& name, const std::string& text) const {
    const std::string file = folder_ + '/' + name;
    writeFile(file, "#!/bin/sh\n" + text);
    fs::permissions(file, fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec,
                    fs::perm_options::add);
  }

  // Works wherever the folder is; REMORA and REMORA_FROM say where the program and the folder are
  // that relative names count from, on machines where they have other names.
  void writeCommand(const std::string& name, const JobCommand& command,
                    const std::string& units) const {
    std::string words;
    for (const std::string& word : command.arguments) words += quoted(word) + ' ';
    writeScript(name, "# " + command.what +
                          "\n"
                          "folder=$(cd \"$(dirname \"$0\")/..\" && pwd) || exit 1\n"
                          "program=" +
                          quoted(fs::read_symlink("/proc/self/exe")) +
                          "\n"
                          "from=" +
                          quoted(fs::current_path()) +
                          "\n"
                          "cd \"${REMORA_FROM:-$from}\" || exit 1\n"
                          "exec \"${REMORA:-$program}\" " +
                          words + "-o \"$folder\" --jobs \"${REMORA_JOBS:-1}\"" + command.more +
                          units + "\n");
  }

  long megabytes() const {
    return std::lround(std::ceil(kMemoryMargin * request_.forecast.bytes(1) / kMegabyte / 16.0)) *
           16;
  }

  static std::string limitOf(double seconds) {
    const long minutes = std::lround(std::ceil(kTimeMargin * seconds / 60.0)) + 1;
    return format("%ld:%02ld:00", minutes / 60, minutes % 60);
  }

  std::string header(const std::string& name, double seconds) const {
    return "#SBATCH --job-name=" + name +
           "\n#SBATCH --ntasks=1\n#SBATCH --time=" + limitOf(seconds) +
           format("\n#SBATCH --mem=%ldM\n", megabytes());
  }

  std::string writeSlurm() const {
    const Forecast& forecast = request_.forecast;
    const double seconds = forecast.before + static_cast<double>(group_) * forecast.longest;
    writeScript(
        "units.sbatch",
        header("remora-units", seconds) + format("#SBATCH --array=0-%zu\n", tasks_.size() - 1) +
            "#SBATCH --requeue\n"
            "# The task of this number does its units; the argument is this folder.\n" +
            format("first=$((SLURM_ARRAY_TASK_ID * %zu))\n", group_) +
            format("last=$((first + %zu))\n", group_ - 1) +
            format("[ \"$last\" -lt %zu ] || last=%zu\n", forecast.units, forecast.units - 1) +
            "exec \"$1/unit\" \"$first-$last\"\n");
    writeScript("join.sbatch",
                header("remora-join", forecast.before + forecast.after) + "exec \"$1/join\"\n");
    writeScript(
        "slurm",
        "# Submits the array of units and the job that ends it all, which also says what is\n"
        "# missing when tasks have failed; then this script is called again. Its arguments\n"
        "# are further options of sbatch.\n"
        "here=$(cd \"$(dirname \"$0\")\" && pwd) || exit 1\n"
        "units=$(sbatch --parsable --output=\"$here/units-%a.log\" \"$@\" "
        "\"$here/units.sbatch\" \"$here\") || exit 1\n"
        "sbatch --dependency=afterany:\"${units%%;*}\" --output=\"$here/join.log\" \"$@\" "
        "\"$here/join.sbatch\" \"$here\"\n");
    return folder_ + "/slurm";
  }

  std::string writeParallel() const {
    std::string lines;
    for (const std::string& task : tasks_) lines += task + '\n';
    writeFile(folder_ + "/tasks", lines);
    writeScript(
        "parallel",
        "# Does all units and ends the work; called again, it goes on. Its arguments are\n"
        "# further options of parallel, as --sshlogin a,b for machines that see this folder\n"
        "# under the same name.\n"
        "here=$(cd \"$(dirname \"$0\")\" && pwd) || exit 1\n" +
            format("parallel -q --joblog \"$here/joblog\" --resume-failed --retries 2 "
                   "--memfree %ldM ",
                   megabytes()) +
            "\"$@\" \"$here/unit\" {} :::: \"$here/tasks\" || exit 1\n"
            "exec \"$here/join\"\n");
    return folder_ + "/parallel";
  }

  std::string writeMake() const {
    std::string names;
    for (const std::string& task : tasks_) names += " \\\n  unit-" + task;
    writeFile(
        folder_ + "/Makefile",
        "# Does all units and ends the work: make -C THIS_FOLDER -j COUNT. Called again, it goes "
        "on.\n"
        "units =" +
            names +
            "\n\n"
            "join: $(units)\n"
            "\t./join\n"
            "$(units): unit-%:\n"
            "\t./unit $*\n"
            ".PHONY: join $(units)\n");
    return "make -C " + quoted(folder_) + " -j 8";
  }

  const JobRequest& request_;
  std::string folder_;
  std::size_t group_;
  std::vector<std::string> tasks_;
};

}  // namespace

Engine engineNamed(const std::string& name) {
  if (name == "slurm") return Engine::kSlurm;
  return name == "parallel" ? Engine::kParallel : Engine::kMake;
}

std::string writeJob(const JobRequest& request) { return Job(request).write(); }

}  // namespace remora::tools
