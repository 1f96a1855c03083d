// Model files as the 3-D engine opens them: trace placement, refusal of
// files without positions, their extent, and the shot's simulation box.
#include "calc3d/Calc3DModelCube.h"

#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <string>

namespace {

// Depths closer than this count as equal (metres).
const double kDepthTolerance = 1e-3;

void PrintCube(const char* szFormat, const CCubeR& c) { u_Print(szFormat, c.x0, c.x1, c.y0, c.y1, c.z0, c.z1); }

const char* const s_szModelCube = "Model Cube       (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n";
const char* const s_szSurveyCube = "Survey Cube      (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n";

// The header bytes of a field row, as "81-84"; "none" for a row not used.
CString RowBytes(const SDS_INFOROW& row) {
  if (row.m_nType == -1 || !(row.m_rValue > 0))
    return CString("none");
  const int n = (int)row.m_rValue;
  return CString(0, "%d-%d", n, n + (row.m_nType == 0 ? 1 : 3));
}

// True the first time a file (by its real path, size and time of change) is
// met in this process: a model is opened for every shot and component, and
// is described once.
bool FirstReport(const char* szFile) {
  static std::set<std::string> s_seen;
  char szReal[PATH_MAX];
  std::string key = realpath(szFile, szReal) ? szReal : szFile;
  struct stat st;
  if (stat(szFile, &st) == 0)
    key += CString(0, "|%lld|%lld.%09ld", (long long)st.st_size, (long long)st.st_mtim.tv_sec, (long)st.st_mtim.tv_nsec)
               .c_str();
  return s_seen.insert(key).second;
}

} // namespace

bool model_OpenFile(CSdsPC& sds, const char* szFile, const CCubeR& m, double fStep, bool bUseElevation) {
  sds.SetPlacement(m.x0 != UNSET_VALUE ? m.x0 : 0.0, m.y0 != UNSET_VALUE ? m.y0 : 0.0, fStep);
  return sds.OnOpen(szFile, 0, 0, 0, bUseElevation);
}

bool model_OpenFile(CCalc3D& calc, CSdsPC& sds, const char* szFile) {
  return model_OpenFile(sds, szFile, calc.m_cubeModel, calc.m_fH, calc.m_Set.m_bModelUseElevation);
}

int model_CheckFile(CSdsPC& sds, const char* szName) {
  const char* szFile = sds.m_szFileName;
  const CString strRecv(0, "%s/%s", RowBytes(sds.m_arInfo[INFO_RECVX]).c_str(),
                        RowBytes(sds.m_arInfo[INFO_RECVY]).c_str());
  const CString strScaler = RowBytes(sds.m_arInfo[INFO_COORSCALER]);
  if (sds.m_nPlacement == PLACE_NONE) {
    u_Error("Error! %s model file '%s' has no usable coordinates: all its %d traces stand at one point (%g, %g). "
            "Trace positions are read from the receiver X/Y (trace header bytes %s, scaler bytes %s), else from "
            "the CDP X/Y (bytes 181-184/185-188, same scaler), else from the inline/crossline numbers (bytes "
            "189-192/193-196).\n",
            szName, szFile, sds.m_nTraceCount, sds.m_pSR[0].m_fXr, sds.m_pSR[0].m_fYr, strRecv.c_str(),
            strScaler.c_str());
    return CALC_NO_FILE;
  }
  if (!FirstReport(szFile))
    return 0;
  const CRectR rc = sds.GetXYRect(1, CPointR(UNSET_VALUE, UNSET_VALUE));
  u_Print("%s model file '%s': %d traces, x %g..%g m, y %g..%g m, z %g..%g m, depth step %g m.\n", szName, szFile,
          sds.m_nTraceCount, rc.x0, rc.x1, rc.y0, rc.y1, sds.m_rT0, sds.m_rT1, sds.m_rDT);
  if (sds.m_nPlacement == PLACE_CDP)
    u_Warning("Warning! %s model file '%s' has no receiver coordinates (bytes %s): its traces are placed by their "
              "CDP X/Y (bytes 181-184/185-188, scaler bytes %s).\n",
              szName, szFile, strRecv.c_str(), strScaler.c_str());
  else if (sds.m_nPlacement == PLACE_LINES)
    u_Warning("Warning! %s model file '%s' has no coordinates: its traces are placed by their inline and crossline "
              "numbers (bytes 189-192/193-196) as x = %g + (crossline - %d) * %g, y = %g + (inline - %d) * %g.\n",
              szName, szFile, sds.m_rLineX0, sds.m_nFirstCrossline, sds.m_rLineStep, sds.m_rLineY0, sds.m_nFirstInline,
              sds.m_rLineStep);
  return 0;
}

int model_SimulationBox(CCalc3D& calc, int nShot, int nMaxShot, bool bQuiet, CCubeR& box) {
  CCubeR& model = calc.m_cubeModel;
  // Sides of the model cube left open are taken from the P-velocity file once.
  if (model.IsEmpty()) {
    CSdsPC sds;
    const char* szFile = calc.m_Set.m_strModelPW.c_str();
    if (!model_OpenFile(calc, sds, szFile)) {
      u_Error("Error! Unable to open model file '%s'.\n", szFile);
      return CALC_NO_FILE;
    }
    if (int nResult = model_CheckFile(sds, "P-Wave Velocity"))
      return nResult;
    const CRectR rc = sds.GetXYRect(0, CPointR(UNSET_VALUE, UNSET_VALUE));
    auto fill = [](double& v, double from) {
      if (v == UNSET_VALUE)
        v = from;
    };
    fill(model.x0, rc.x0);
    fill(model.x1, rc.x1);
    fill(model.y0, rc.y0);
    fill(model.y1, rc.y1);
    fill(model.z0, sds.m_rT0);
    fill(model.z1, sds.m_rT1);
  }

  CCubeR& survey = calc.m_cubeSurvey;
  const double fSurveyZ1 = survey.z1;
  survey.z0 = std::min(survey.z0, model.z0);
  survey.z1 = std::max(survey.z1, model.z1);

  box = model;
  const double fMargin = calc.m_fMargin;
  if (fMargin <= 0)
    return 0;
  box = survey;
  box.x0 -= fMargin;
  box.y0 -= fMargin;
  box.z0 -= fMargin;
  box.x1 += fMargin;
  box.y1 += fMargin;
  box.z1 += fMargin;
  if (!box.Intersect(model) || box.IsEmpty()) {
    u_LinePrint(" Shot #%d of %d ", nShot, nMaxShot);
    PrintCube(s_szModelCube, model);
    PrintCube(s_szSurveyCube, survey);
    u_Error("Error! Empty intersection between the model cube and the acquisition survey.\n");
    return CALC_EMPTY_INTERSECTION;
  }
  // The margin below the survey's deepest point is lost where the model ends
  // above it: a model whose depth step was misread shows up here.
  if (!bQuiet && fSurveyZ1 + fMargin > model.z1 + kDepthTolerance)
    u_Warning("Warning! Shot #%d: the simulation cube is cut short by the model's depth: the survey reaches %g m, "
              "with the margin %g m, the model cube ends at %g m.\n",
              nShot, fSurveyZ1, fSurveyZ1 + fMargin, model.z1);
  return 0;
}
