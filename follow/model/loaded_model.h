// What is behind a Model: its description, and predictors that trackers borrow while they work.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "fast_lp.h"
#include "follow/model/description.h"
#include "follow/model/search.h"

namespace remora {

// The engine's trackers of all stages, from coarse to fine. They hold positions while they predict,
// so each set serves one thread at a time.
using Stages = std::vector<std::unique_ptr<FastShapeTracker>>;

// The content of a file, which the engine can read again when the file has gone.
class FileInMemory {
 public:
  // `check` is what the model file says of it; empty: nothing.
  FileInMemory(const std::string& content, const std::string& check);
  ~FileInMemory();
  FileInMemory(FileInMemory&& other) noexcept;
  FileInMemory& operator=(FileInMemory&&) = delete;

  std::string name() const;
  bool isAsDescribed() const { return is_as_described_; }

 private:
  int descriptor_;
  bool is_as_described_;
};

class LoadedModel {
 public:
  // `steps` as Model has them.
  LoadedModel(const std::string& folder, const std::vector<int>& steps);

  const ModelDescription& description() const { return description_; }
  std::vector<std::string> files() const;
  const Searcher& searcher() const { return searcher_; }
  // Of a plain model: where training saw its points first, in pixels of the scaled frame.
  const Shape& first() const { return first_; }

  // A set of stages nobody else uses until it is destroyed; read anew when all are in use.
  class Borrowed {
   public:
    explicit Borrowed(const LoadedModel& model);
    ~Borrowed();
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;
    Stages& operator*() const { return *stages_; }

   private:
    const LoadedModel& model_;
    std::unique_ptr<Stages> stages_;
  };

 private:
  void takeSteps(const std::vector<int>& steps);
  std::unique_ptr<Stages> read() const;

  std::string folder_;
  ModelDescription description_;
  Searcher searcher_;
  std::vector<FileInMemory> contents_;  // of the flat files
  Shape first_;
  mutable std::mutex mutex_;
  mutable std::vector<std::unique_ptr<Stages>> idle_;
};

}  // namespace remora
