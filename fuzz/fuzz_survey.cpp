// Text survey reader on arbitrary bytes: load with and without moment
// tensors, then activate a few shots from each end and the whole receiver set.
#include "FuzzScratch.h"
#include "survey/Survey3D.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz_EnterScratch();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (!fuzz_WriteFile("survey.txt", data, size))
    return 0;
  for (int bTensors = 0; bTensors < 2; bTensors++) {
    CSurvey3D s;
    s.m_bUseShotId = size > 0 && (data[0] & 1);
    if (s.LoadSurvey("survey.txt", bTensors != 0) != 0)
      continue;
    const int nMin = s.GetMinShot(), nMax = s.GetMaxShot();
    for (int k = 0; k < 3; k++) {
      s.SetActiveShot(nMin + k);
      s.SetActiveShot(nMax - k);
    }
    s.SetActiveShot(-1);
  }
  return 0;
}
