// The verbs of the program. Each adds its options and what it does to the command line.
#pragma once

namespace CLI {
class App;
}

namespace remora::tools {

void addAnnotate(CLI::App& app);
void addRender(CLI::App& app);
void addSuggest(CLI::App& app);
void addFrames(CLI::App& app);
void addTrain(CLI::App& app);
void addJoin(CLI::App& app);
void addTrack(CLI::App& app);
void addEvaluate(CLI::App& app);
void addExport(CLI::App& app);
void addImport(CLI::App& app);
void addConvert(CLI::App& app);
void addInfo(CLI::App& app);
void addDemo(CLI::App& app);

}  // namespace remora::tools
