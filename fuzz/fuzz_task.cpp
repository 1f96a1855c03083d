// Job-file reader on arbitrary bytes: the file is read into lines, every
// key it names is asked for by each typed reader in its own section, the
// leftovers are reported, and the program's own job reader takes the file.
#include <cstring>
#include <string>

#include "FuzzScratch.h"
#include "KelvoApp.h"
#include "TaskFile.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_EnterScratch();
  return 0;
}

// Asks for each "key = value" line of the file under the section above it.
static void AskEveryKey(const std::vector<CString>& lines) {
  std::vector<CString> work = lines;
  std::string section = "[none]";
  for (const CString& l : lines) {
    const char* s = (const char*)l;
    if (s[0] == '[') {
      section = s;
      continue;
    }
    const char* eq = strchr(s, '=');
    if (!eq)
      continue;
    std::string key(s, eq - s);
    while (!key.empty() && key.back() == ' ')
      key.pop_back();
    char buf[64];
    int i = 0;
    bool b = false;
    double d = 0;
    float f = 0;
    get_parameter_string(work, section.c_str(), key.c_str(), buf, sizeof(buf));
    get_parameter_int(work, section.c_str(), key.c_str(), &i);
    get_parameter_bool(work, section.c_str(), key.c_str(), &b);
    get_parameter_double(work, section.c_str(), key.c_str(), &d);
    get_parameter_float(work, section.c_str(), key.c_str(), &f);
  }
  task_report_redundant(work, false);
}

// The job reader makes the output directory it is given, parents and all: an
// input that names one with a slash or "..", which could lie outside the
// scratch directory, is passed over.
static bool LeavesScratch(const uint8_t* data, size_t size) {
  const std::string s((const char*)data, size);
  return s.find("OutputDir") != std::string::npos &&
         (s.find('/') != std::string::npos || s.find("..") != std::string::npos);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (LeavesScratch(data, size) || !fuzz_WriteFile("runtask.ini", data, size))
    return 0;
  std::vector<CString> lines;
  if (task_read_lines("runtask.ini", lines) != 0)
    return 0;
  AskEveryKey(lines);
  task_report_redundant(lines, true);
  CKelvoApp app;
  app.ReadTask("runtask.ini");
  return 0;
}
