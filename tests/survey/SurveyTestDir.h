// Fixture for survey tests: each test runs in a fresh temporary directory, so
// that survey files and the process log (Kelvo-0.log) belong to that test.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "survey/Survey3D.h"

class SurveyTestDir : public ::testing::Test {
protected:
  void SetUp() override {
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof(cwd)), nullptr);
    m_strOldDir = cwd;
    char tmpl[] = "/tmp/kelvo_survey_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    m_strDir = tmpl;
    ASSERT_EQ(chdir(m_strDir.c_str()), 0);
    m_fOldMinDist = CSurvey3D::MIN_DIST;
  }

  void TearDown() override {
    CSurvey3D::MIN_DIST = m_fOldMinDist;
    if (chdir(m_strOldDir.c_str()) != 0)
      ADD_FAILURE() << "cannot return to " << m_strOldDir;
    std::string cmd = "rm -rf '" + m_strDir + "'";
    if (system(cmd.c_str()) != 0)
      ADD_FAILURE() << "cannot remove " << m_strDir;
  }

  // Writes a survey file into the test directory and returns its name.
  std::string WriteFile(const std::string& name, const std::string& text) {
    std::ofstream f(name);
    f << text;
    return name;
  }

  // Everything this process has logged since the test began.
  std::string Log() const {
    std::ifstream f("Kelvo-0.log");
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
  }

  bool LogHas(const std::string& text) const { return Log().find(text) != std::string::npos; }

  std::string m_strOldDir, m_strDir;
  double m_fOldMinDist = 0.001;
};
