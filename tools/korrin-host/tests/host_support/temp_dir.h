// A scratch directory for one test, removed with everything in it.
#ifndef KORRIN_HOST_TESTS_TEMP_DIR_H
#define KORRIN_HOST_TESTS_TEMP_DIR_H

#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <stdexcept>
#include <string>

#include "korrin_host/input_files.h"
#include "korrin_host/json_input.h"

namespace korrin_host_test {

class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/korrin-host-test-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
      throw std::runtime_error("mkdtemp failed");
    }
    path_ = pattern;
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir() {
    const std::string command = "rm -rf '" + path_ + "'";
    if (std::system(command.c_str()) != 0) {
      // Nothing more to do in a destructor; a leftover in /tmp is harmless.
    }
  }

  const std::string& path() const { return path_; }
  /// Writes `content` to `name` inside the directory; returns the full path.
  std::string write(const std::string& name, const std::string& content) const {
    std::string file = path_ + "/" + name;
    std::ofstream out(file, std::ios::binary);
    out << content;
    if (!out) {
      throw std::runtime_error("cannot write " + file);
    }
    return file;
  }
  /// write() for a file every user may read, in a directory every user may
  /// enter: in.tftpd serves files as an unprivileged user.
  std::string write_readable(const std::string& name, const std::string& content) const {
    std::string file = write(name, content);
    chmod(path_.c_str(), 0755);
    chmod(file.c_str(), 0644);
    return file;
  }
  std::string read(const std::string& name) const {
    return korrin_host::read_text_file(path_ + "/" + name);
  }

 private:
  std::string path_;
};

}  // namespace korrin_host_test

#endif  // KORRIN_HOST_TESTS_TEMP_DIR_H
