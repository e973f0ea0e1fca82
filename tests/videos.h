// What tests on videos share.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "follow/error.h"
#include "support.h"

inline bool hasFfmpeg() { return std::system("ffmpeg -version >/dev/null 2>&1") == 0; }

#define SKIP_WITHOUT_FFMPEG() \
  if (!hasFfmpeg()) GTEST_SKIP() << "there is no ffmpeg: install the Debian package ffmpeg"

template <class Action>
std::string refusal(Action action) {
  try {
    action();
  } catch (const remora::Error& failure) {
    return failure.what();
  }
  return "";
}

inline void expectNamed(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " in: " << text;
  }
  EXPECT_EQ(countOf("\n", text), 0) << text;
}

inline std::string ffmpeg(const std::string& arguments, const std::string& name) {
  const std::string file = pathTo(name);
  const std::string command = "ffmpeg -nostdin -v error -y " + arguments + " '" + file + "'";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  return file;
}

// What the program prints; its standard error is in err.txt.
inline std::string run(const std::string& arguments, int status = 0) {
  const int code = std::system(
      ("'" REMORA_PROGRAM "' " + arguments + " >" + pathTo("out.txt") + " 2>" + pathTo("err.txt"))
          .c_str());
  EXPECT_EQ(WIFEXITED(code) ? WEXITSTATUS(code) : -1, status)
      << arguments << ": " << contentsOf(pathTo("err.txt"));
  return contentsOf(pathTo("out.txt"));
}
