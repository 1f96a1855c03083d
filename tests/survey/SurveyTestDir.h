// Fixture of the survey tests: a scratch directory as working directory
// (survey files and the process log belong to the test), and the shot
// separation distance restored afterwards.
#pragma once

#include "seisfile/ScratchDir.h"
#include "survey/Survey3D.h"

class SurveyTestDir : public ScratchDirTest {
protected:
  void TearDown() override { CSurvey3D::MIN_DIST = m_fOldMinDist; }
  static std::string WriteFile(const std::string& name, const std::string& text) { return write_text(name, text); }

  double m_fOldMinDist = CSurvey3D::MIN_DIST;
};
