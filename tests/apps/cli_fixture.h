// What the tests of the command-line tool share: a scratch folder per test and a way to run
// the tool there and collect its exit status and output.
#ifndef TESTS_APPS_CLI_FIXTURE_H
#define TESTS_APPS_CLI_FIXTURE_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

inline std::string slurp(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

class CliFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/tshell-cli-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { std::system(("rm -rf '" + dir_ + "'").c_str()); }

  std::string path(const std::string &name) const { return dir_ + "/" + name; }

  void write(const std::string &name, const std::string &text) const {
    std::ofstream(path(name), std::ios::binary) << text;
  }

  // Runs tshell with arguments (already quoted for the shell), standard input from input,
  // and environment (assignments such as "NO_COLOR=1") in front of the command.
  Outcome runTool(const std::string &arguments, const std::string &input,
                  const std::string &environment) const {
    write("stdin", input);
    const std::string command = environment + " '" + std::string(TSHELL_CLI) + "' " + arguments +
                                " < '" + path("stdin") + "' > '" + path("stdout") + "' 2> '" +
                                path("stderr") + "'";
    Outcome result;
    const int raw = std::system(command.c_str());
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    result.out = slurp(path("stdout"));
    result.err = slurp(path("stderr"));
    return result;
  }

  std::string dir_;
};

#endif  // TESTS_APPS_CLI_FIXTURE_H
