// Shot preparation: the computation grid of a shot, its excitation points
// and receivers on that grid, and run-wide checks.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <tuple>

#include "calc3d/Calc3D.h"
#include "calc3d/Calc3DModelCube.h"
#include "calc3d/CalcShared.h"
#include "seisfile/SdsPC.h"

namespace {

struct GridPointLess {
  bool operator()(const C3DPointN& a, const C3DPointN& b) const {
    return std::tie(a.z, a.y, a.x) < std::tie(b.z, b.y, b.x);
  }
};

void PrintCube(const char* szFormat, const CCubeR& c) { u_Print(szFormat, c.x0, c.x1, c.y0, c.y1, c.z0, c.z1); }

const char* const s_szModelCube = "Model Cube       (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n";
const char* const s_szSurveyCube = "Survey Cube      (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n";
const char* const s_szSimCube = "Simulation Cube  (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n";

} // namespace

int CCalc3D::PrepareSource(int nShot, CSurvey3D& survey, bool bQuiet) {
  if (nShot < survey.GetMinShot() || nShot > survey.GetMaxShot()) {
    u_Error("Error! Unable to initialize Shot #%d. Shots are in range %d..%d.\n", nShot, survey.GetMinShot(),
            survey.GetMaxShot());
    return CALC_BAD_SHOT;
  }
  int nResult = survey.SetActiveShot(nShot);
  if (nResult == CALC_SHOT_SKIPPED)
    return nResult;
  if (nResult != 0)
    return CALC_SHOT_NOT_ACTIVE;

  m_nShot = nShot;
  m_nShotId = survey.GetActiveShotId();
  m_ptShot = survey.GetActiveShotPt();
  const std::vector<C3DPointR> receivers = survey.m_vReceivers;
  m_cubeSurvey = survey.GetObsZone();

  if (m_fH <= 0) {
    u_Error("Error! Incorrect spacial steps dx=dy=dz=%g specified!\n", m_fH);
    return CALC_BAD_DX;
  }
  if (m_fDt <= 0) {
    u_Error("Error! Incorrect time tact dt=%g specified!\n", m_fDt);
    return CALC_BAD_DT;
  }
  if (m_Set.m_t1 <= 0 || m_Set.m_t1 <= m_Set.m_t0) {
    u_Error("Error! Incorrect shotgather record range (t=%g..%g) specified!\n", m_Set.m_t0, m_Set.m_t1);
    return CALC_BAD_RECORD_RANGE;
  }
  m_fT1 = m_Set.m_t1;

  // The model cube, and the part of it that this shot simulates.
  CCubeR box;
  if ((nResult = model_SimulationBox(*this, nShot, survey.GetMaxShot(), bQuiet, box)) != 0)
    return nResult;

  // The grid: the simulation box snapped down to whole steps, plus the frame.
  const int f = m_nFrame;
  m_cubeSim.x0 = box.x0;
  m_cubeSim.y0 = box.y0;
  m_cubeSim.z0 = box.z0;
  m_nNx = (int)((box.x1 - box.x0) / m_fH) + 1 + 2 * f;
  m_nNy = (int)((box.y1 - box.y0) / m_fH) + 1 + 2 * f;
  m_nNz = (int)((box.z1 - box.z0) / m_fH) + 1 + 2 * f;
  m_cubeSim.x1 = (m_nNx - 2 * f - 1) * m_fH + m_cubeSim.x0;
  m_cubeSim.y1 = (m_nNy - 2 * f - 1) * m_fH + m_cubeSim.y0;
  m_cubeSim.z1 = (m_nNz - 2 * f - 1) * m_fH + m_cubeSim.z0;

  if (m_nTimeFieldType != 0) {
    m_fTimeDx = std::max(m_fTimeDx, m_fH);
    m_fTimeDy = std::max(m_fTimeDy, m_fH);
    m_fTimeDz = std::max(m_fTimeDz, m_fH);
    m_nTimeNx = (int)((m_cubeSim.x1 - m_cubeSim.x0) / m_fTimeDx) + 1;
    m_nTimeNy = (int)((m_cubeSim.y1 - m_cubeSim.y0) / m_fTimeDy) + 1;
    m_nTimeNz = (int)((m_cubeSim.z1 - m_cubeSim.z0) / m_fTimeDz) + 1;
  }

  m_nSeisLen = m_Set.GetSeismogramTraceLen();
  m_nSeisStep = 0;
  m_vShotPoints.clear();
  m_vRcvIdx.clear();
  m_vExcitePoints.clear();
  m_vReceivers.clear();
  m_vRcvInline.clear();
  m_vRcvCrossline.clear();
  m_vRcvTraceId.clear();
  m_vRcvFileId.clear();

  m_cubeGrid = m_cubeSim;
  m_cubeGrid.x0 -= f * m_fH;
  m_cubeGrid.y0 -= f * m_fH;
  m_cubeGrid.z0 -= f * m_fH;
  m_cubeGrid.x1 += f * m_fH;
  m_cubeGrid.y1 += f * m_fH;
  m_cubeGrid.z1 += f * m_fH;

  const std::vector<C3DPointR> excite = survey.m_vExcitePoints;
  std::vector<CShotTauK> tauk;
  if (m_nSourceType == SOURCE_FAULT_SLIP) {
    m_vShotTauK.clear();
    tauk = survey.m_vTauK;
    if (tauk.size() != excite.size()) {
      u_Error("Error! Shot #%d (%g,%g,%g) Moment tensor is specified for not all excitement "
              "points (%d of %d)\n",
              nShot, m_ptShot.x, m_ptShot.y, m_ptShot.z, (int)tauk.size(), (int)excite.size());
      return CALC_NO_MOMENT_TENSOR;
    }
  }

  // Grid coordinates of a point; false when it lies outside the grid less
  // the frame (one point past the last one is tolerated for rounding).
  auto toGrid = [&](const C3DPointR& p, C3DPointN& g) {
    g.x = (int)((p.x - m_cubeGrid.x0) / m_fH + 0.5);
    g.y = (int)((p.y - m_cubeGrid.y0) / m_fH + 0.5);
    g.z = (int)((p.z - m_cubeGrid.z0) / m_fH + 0.5);
    return g.x >= f && g.x <= m_nNx - f && g.y >= f && g.y <= m_nNy - f && g.z >= f && g.z <= m_nNz - f;
  };
  auto gridIndex = [&](const C3DPointN& g) { return ((size_t)g.z * m_nNy + g.y) * m_nNx + g.x; };

  bool bOutside = false;
  std::set<C3DPointN, GridPointLess> taken;
  std::vector<C3DPointR> kept;
  for (size_t i = 0; i < excite.size(); i++) {
    C3DPointN g;
    if (!toGrid(excite[i], g)) {
      bOutside = true;
      break;
    }
    if (!taken.insert(g).second)
      continue;
    C3DShotPoint sp;
    sp.nIndex = gridIndex(g);
    sp.nFlags = m_nSurfType == 1 ? 1 : 0;
    m_vShotPoints.push_back(sp);
    kept.push_back(excite[i]);
    if (m_nSourceType == SOURCE_FAULT_SLIP)
      m_vShotTauK.push_back(tauk[i]);
    if (taken.size() == 1) {
      m_nActiveX0 = g.x - 1;
      m_nActiveX1 = g.x + 1;
      m_nActiveY0 = g.y - 1;
      m_nActiveY1 = g.y + 1;
      m_nActiveDelay = 0;
    } else {
      m_nActiveX0 = std::min(m_nActiveX0, g.x - 1);
      m_nActiveX1 = std::max(m_nActiveX1, g.x + 1);
      m_nActiveY0 = std::min(m_nActiveY0, g.y - 1);
      m_nActiveY1 = std::max(m_nActiveY1, g.y + 1);
    }
  }
  m_vExcitePoints = kept;

  if (!bQuiet) {
    u_LinePrint(" Shot #%d of %d ", nShot, survey.GetMaxShot());
    if (CSdsPC::COOR_SCALER < 0)
      u_Print("Shot Position    (X,Y,Z): (%.2f, %.2f, %.2f), %d receivers.\n", m_ptShot.x, m_ptShot.y, m_ptShot.z,
              (int)receivers.size());
    else
      u_Print("Shot Position    (X,Y,Z): (%.0f, %.0f, %.0f), %d receivers.\n", m_ptShot.x, m_ptShot.y, m_ptShot.z,
              (int)receivers.size());
    if (kept.size() > 1)
      u_Print("Points of excitement    : %d\n", (int)kept.size());
    if (m_fMargin > 0)
      u_Print("Margin                  : %g m\n", m_fMargin);
    PrintCube(s_szModelCube, m_cubeModel);
    if (m_fMargin > 0) {
      PrintCube(s_szSurveyCube, m_cubeSurvey);
      PrintCube(s_szSimCube, m_cubeSim);
    }
    u_LinePrint(" Computation Grid Parameters ");
    u_Print("   First       |    Last       |      Step     |\n%14.0f |%14.0f |%14g |  "
            "x-dimension\n%14.0f |%14.0f |%14g |  y-dimension\n%14.0f |%14.0f |%14g |  "
            "z-dimension\n%14g |%14g |%14g |  time (%d steps)\n",
            m_cubeSim.x0, m_cubeSim.x1, m_fH, m_cubeSim.y0, m_cubeSim.y1, m_fH, m_cubeSim.z0, m_cubeSim.z1, m_fH, m_fT0,
            m_fT1, m_fDt, (int)((m_fT1 - m_fT0) / m_fDt) + 1);
    u_LinePrint(" Shotgather Parameters ");
    u_Print("   First       |    Last       |      Step     |\n%14g |%14g |%14g |  time\n", m_Set.m_t0, m_Set.m_t1,
            m_Set.m_dt);
    u_Line();
  }

  if (bOutside) {
    const CCubeR a = GetRealUserArea();
    u_Warning("Warning! Shot #%d (%g,%g,%g) is outside computation zone "
              "[%g..%g,%g..%g,%g..%g].\n",
              nShot, m_ptShot.x, m_ptShot.y, m_ptShot.z, a.x0, a.x1, a.y0, a.y1, a.z0, a.z1);
    u_Print("Shot Point #%d skipped.\n", nShot);
    return CALC_SHOT_OUTSIDE;
  }

  CCubeR rcvBox;
  for (size_t i = 0; i < receivers.size(); i++) {
    rcvBox.Expand(receivers[i]);
    C3DPointN g;
    if (!toGrid(receivers[i], g))
      continue;
    m_vRcvIdx.push_back(gridIndex(g));
    m_vReceivers.push_back(receivers[i]);
    m_vRcvInline.push_back(survey.GetRcvInline((int)i));
    m_vRcvCrossline.push_back(survey.GetRcvCrossline((int)i));
    m_vRcvTraceId.push_back(survey.GetRcvTraceId((int)i));
    m_vRcvFileId.push_back(survey.GetRcvFileId((int)i));
  }
  m_nTraces = (int)m_vRcvIdx.size();
  if (!m_vRcvIdx.empty() && m_vRcvIdx.size() < receivers.size() && !bQuiet) {
    const CCubeR a = GetRealUserArea();
    u_Warning("Warning! Shot #%d: %d of %d receivers lie outside the computation zone "
              "[%.0f..%.0f,%.0f..%.0f,%.0f..%.0f] and are dropped from its gathers.\n",
              nShot, (int)(receivers.size() - m_vRcvIdx.size()), (int)receivers.size(), a.x0, a.x1, a.y0, a.y1, a.z0,
              a.z1);
  }
  if (m_vRcvIdx.empty()) {
    const CCubeR a = GetRealUserArea();
    u_Error("Error! Shot #%d (%.0f,%.0f,%.0f) no receivers in the computation zone "
            "[%.0f..%.0f,%.0f..%.0f,%.0f..%.0f]. Receivers zone: "
            "[%.0f..%.0f,%.0f..%.0f,%.0f..%.0f].\n",
            nShot, m_ptShot.x, m_ptShot.y, m_ptShot.z, a.x0, a.x1, a.y0, a.y1, a.z0, a.z1, rcvBox.x0, rcvBox.x1,
            rcvBox.y0, rcvBox.y1, rcvBox.z0, rcvBox.z1);
    return CALC_NO_RECEIVERS;
  }
  return 0;
}

void calc_SetOutputScalers(double fH, double dt) {
  CSdsPC::COOR_SCALER = fH < 1.0 ? -100 : 1;
  CSdsPC::ELEV_SCALER = dt < (double)(float)0.001 ? -100 : 1;
  if (CSdsPC::COOR_SCALER != 1)
    u_Print("Output SEG-Y Coord. Scaler:  %d\n", CSdsPC::COOR_SCALER);
  if (CSdsPC::ELEV_SCALER != 1)
    u_Print("Output SEG-Y Elev. Scaler:   %d\n", CSdsPC::ELEV_SCALER);
}

int CCalc3D::ValidateCommon() {
  const int nMethod = GetMethod();
  if (nMethod > METHOD_ACOUSTIC && m_nSurfType == 0 && m_nSourceType == SOURCE_OMNI)
    m_bSuppressSV = false;

  u_LinePrint(" Modeling Settings ");
  u_Print("Signal Frequency:            %.0f\n", m_Signal.m_fFrequency);
  u_Print("Surface Type:                %s\n",
          m_nSurfType == 0 ? "Invisible" : (m_nSurfType == 1 ? "Free" : "Unknown"));
  u_Print("Source Direction:            %s\n", GetSourceTypeName(m_nSourceType));
  if (m_nSourceType == SOURCE_DOUBLE_COUPLE) {
    const char* szAxis = "X-Y";
    if (m_fK13 != 0)
      szAxis = "X-Z";
    if (m_fK23 != 0)
      szAxis = "Y-Z";
    u_Print("Double Couple Axis:          %s\n", szAxis);
  }
  if (m_nSourceType == SOURCE_DIRECTED)
    u_Print("Shot Point Direction Matrix: { k11=%g, k22=%g, k33=%g, k12=%g, k13=%g, k23=%g }\n", m_fK11, m_fK22, m_fK33,
            m_fK12, m_fK13, m_fK23);

  if (nMethod == METHOD_ACOUSTIC) {
    if (m_nSourceType == SOURCE_DOUBLE_COUPLE) {
      u_Error("Error! Acoustic simulation dies not support double couple shot points.\n");
      return CALC_BAD_SOURCE_TYPE;
    }
    if (m_nSourceType == SOURCE_DIRECTED) {
      u_Error("Error! Acoustic simulation dies not support arbitrary directed shot points.\n");
      return CALC_BAD_SOURCE_TYPE;
    }
    if (m_nSourceType == SOURCE_FAULT_SLIP) {
      u_Error("Error! Acoustic simulation dies not support fault slip shot points.\n");
      return CALC_BAD_SOURCE_TYPE;
    }
    if (m_nSourceType > SOURCE_VZ && m_nSourceType != SOURCE_HARD) {
      u_Error("Error! Acoustic simulation dies not support specified source direction(%d).\n", m_nSourceType);
      return CALC_BAD_SOURCE_TYPE;
    }
  }
  if (nMethod > METHOD_ACOUSTIC)
    u_Print("Suppress Source S-Wave:      %s\n", m_bSuppressSV ? "On" : "Off");

  if (m_nTimeFieldType == 0) {
    u_Print("Generate Time Field:         %s\n", "No");
  } else {
    CString str(0, "Yes (%g,%g,%g): ", m_fTimeDx, m_fTimeDy, m_fTimeDz);
    if (m_nTimeFieldType & 1)
      str += "max energy";
    if (m_nTimeFieldType & 2) {
      if (m_nTimeFieldType & 1)
        str += ", ";
      str += "max divergence";
    }
    u_Print("Generate Time Field:         %s\n", str.c_str());
  }

  calc_SetOutputScalers(m_fH, m_Set.m_dt);

  // An acoustic omnidirectional built-in pulse under an invisible surface is
  // injected as a hard source.
  if (nMethod == METHOD_ACOUSTIC && m_nSurfType == 0 && m_Signal.m_strFile.IsEmpty() && m_Signal.m_nSignalMode == 0 &&
      m_nSourceType == SOURCE_OMNI)
    m_nSourceType = SOURCE_HARD;

  if (m_nViscoL > 0) {
    u_Print("Viscoelastic NRM(L):         %d\n", m_nViscoL);
    u_Print("Viscoelastic velocities:     %s\n", m_bApparentVelocity ? "apparent" : "intrinsic");
  }
  if (!m_Set.m_strOutputDir.IsEmpty())
    u_Print("Output directory:            %s\n", m_Set.m_strOutputDir.c_str());
  u_Line();
  return ValidateRecordStep();
}

int CCalc3D::ValidateRecordStep() {
  const double fRecDt = m_Set.m_dt;
  if (fRecDt <= 0) {
    u_Error("Error! Incorrect shotgather sample interval [Survey] dt=%g specified!\n", fRecDt);
    u_Print("The computation is stopped.\n");
    return CALC_BAD_RECORD_RANGE;
  }
  if (m_fDt <= 0)
    return 0; // refused with its own message when the shot is prepared
  // One gather row is taken after a time step at most: a finer sample
  // interval cannot be recorded.
  const double fRatio = fRecDt / m_fDt;
  if (fRatio < 1 - 1e-6) {
    u_Error("Error! The shotgather sample interval [Survey] dt=%g s is finer than the time step [Mesh] dt=%g s. Set "
            "[Survey] dt to %g s or a multiple of it.\n",
            fRecDt, m_fDt, m_fDt);
    u_Print("The computation is stopped.\n");
    return CALC_BAD_RECORD_RANGE;
  }
  if (std::fabs(fRatio - std::floor(fRatio + 0.5)) > 1e-6)
    u_Warning("Warning! The shotgather sample interval [Survey] dt=%g s is not a multiple of the time step [Mesh] "
              "dt=%g s: each gather sample is taken at the first time step at or after its time (up to %g s "
              "late).\n",
              fRecDt, m_fDt, m_fDt);
  return 0;
}

size_t CCalc3D::GetPtShift(const C3DPointR& pt) {
  const int x = (int)((pt.x - m_cubeGrid.x0) / m_fH + 0.5);
  const int y = (int)((pt.y - m_cubeGrid.y0) / m_fH + 0.5);
  const int z = (int)((pt.z - m_cubeGrid.z0) / m_fH + 0.5);
  if (x < 0 || y < 0 || z < 0 || x >= m_nNx || y >= m_nNy || z >= m_nNz)
    return 0;
  return ((size_t)z * m_nNy + y) * m_nNx + x;
}

int CCalc3D::ValidateTracePoint(C3DPointR& pt) {
  const CCubeR u = GetRealUserArea();
  if (pt.x < u.x0 || pt.x > u.x1 + m_fH || pt.y < u.y0 || pt.y > u.y1 + m_fH || pt.z < u.z0)
    return -1;
  if (pt.z > u.z1)
    return -2;
  size_t idx = GetPtShift(pt);
  if (idx == 0)
    return -1;
  const size_t nPlane = (size_t)m_nNx * m_nNy;
  bool bMoved = false;
  while (m_pK && m_pK[idx] < 1.0f && pt.z <= u.z1) {
    idx += nPlane;
    pt.z += m_fH;
    bMoved = true;
    if (idx >= GetCubeSize())
      break;
  }
  if (!bMoved || (pt.z >= u.z0 && pt.z <= u.z1))
    return 0;
  return -2;
}

int CCalc3D::ValidateSurveyGeometryShared() {
  if (m_vShotPoints.size() != m_vExcitePoints.size()) {
    u_Error("Error! Shot #%d: Unexpected inconsistency (wrong excitement points count => "
            "%d!=%d) \n",
            m_nShot, (int)m_vShotPoints.size(), (int)m_vExcitePoints.size());
    return CALC_INCONSISTENT;
  }
  auto receiverListsAgree = [&]() {
    const size_t n = m_vRcvIdx.size();
    return m_vReceivers.size() == n && m_vRcvInline.size() == n && m_vRcvCrossline.size() == n &&
           m_vRcvTraceId.size() == n && m_vRcvFileId.size() == n;
  };
  if (!receiverListsAgree()) {
    u_Error("Error! Shot #%d: Unexpected inconsistency (wrong trace count => "
            "%d!=%d!=%d!=%d!=%d!=%d) \n",
            m_nShot, (int)m_vRcvIdx.size(), (int)m_vReceivers.size(), (int)m_vRcvInline.size(),
            (int)m_vRcvCrossline.size(), (int)m_vRcvTraceId.size(), (int)m_vRcvFileId.size());
    return CALC_INCONSISTENT;
  }

  const size_t nPlane = (size_t)m_nNx * m_nNy;
  const int nLimit = m_nNz - m_nFrame;
  // Moves a point in the void straight down to the first cell of the
  // medium; false when there is none above the bottom frame.
  auto sink = [&](size_t& idx, C3DPointR& pt, bool& bMoved) {
    int z = (int)(idx / nPlane);
    while (m_pK[idx] < 1.0f && z < nLimit) {
      idx += nPlane;
      z++;
      pt.z += m_fH;
      bMoved = true;
    }
    return m_pK[idx] >= 1.0f;
  };

  bool bMoved = false;
  std::vector<C3DShotPoint> shots;
  std::vector<C3DPointR> excite;
  std::vector<CShotTauK> tauk;
  const bool bTauK = m_vShotTauK.size() == m_vShotPoints.size();
  for (size_t i = 0; i < m_vShotPoints.size(); i++) {
    C3DShotPoint sp = m_vShotPoints[i];
    C3DPointR pt = m_vExcitePoints[i];
    const bool bIsShot = pt == m_ptShot;
    if (!sink(sp.nIndex, pt, bMoved)) {
      if (m_vShotPoints.size() == 1) {
        u_Error("Error! No suitable depth position for shot #%d (%.0f, %.0f).\n", m_nShot, pt.x, pt.y);
        return CALC_NO_DEPTH;
      }
      bMoved = true;
      continue;
    }
    if (bIsShot)
      m_ptShot = pt;
    shots.push_back(sp);
    excite.push_back(pt);
    if (bTauK)
      tauk.push_back(m_vShotTauK[i]);
  }
  if (bMoved) {
    m_vShotPoints = shots;
    m_vExcitePoints = excite;
    if (bTauK)
      m_vShotTauK = tauk;
  }
  if (m_vShotPoints.empty()) {
    u_Error("Error! Error validating survey geometry (shot point %d [%.0f, %0.f, %0.f] is "
            "outside model boundaries).\n",
            m_nShot, m_ptShot.x, m_ptShot.y, m_ptShot.z);
    return CALC_NO_DEPTH;
  }

  if (m_vRcvIdx.size() != m_vReceivers.size()) {
    u_Error("Error! Error validating survey geometry (wrong trace count, %d!=%d).\n", (int)m_vRcvIdx.size(),
            (int)m_vReceivers.size());
    return CALC_INCONSISTENT;
  }
  bMoved = false;
  std::vector<size_t> idxs;
  std::vector<C3DPointR> rcvs;
  std::vector<int> inl, xl, tid, fid;
  for (size_t i = 0; i < m_vRcvIdx.size(); i++) {
    size_t idx = m_vRcvIdx[i];
    C3DPointR pt = m_vReceivers[i];
    if (!sink(idx, pt, bMoved)) {
      bMoved = true;
      continue;
    }
    idxs.push_back(idx);
    rcvs.push_back(pt);
    inl.push_back(m_vRcvInline[i]);
    xl.push_back(m_vRcvCrossline[i]);
    tid.push_back(m_vRcvTraceId[i]);
    fid.push_back(m_vRcvFileId[i]);
  }
  if (bMoved) {
    m_vRcvIdx = idxs;
    m_vReceivers = rcvs;
    m_vRcvInline = inl;
    m_vRcvCrossline = xl;
    m_vRcvTraceId = tid;
    m_vRcvFileId = fid;
  }
  if (m_vRcvIdx.empty()) {
    u_Error("Error! All traces are outside the model. Shot Point #%d (%g, %g).\n", m_nShot, m_ptShot.x, m_ptShot.y);
    return CALC_EMPTY_INTERSECTION;
  }
  m_nTraces = (int)m_vRcvIdx.size();
  return 0;
}

int CCalc3D::Init3DSnapshots() {
  m_bSnap3DActive = false;
  if (m_vSnap3DShots.empty() || m_vSnap3DTimes.empty() || m_szSnap3DComponents[0] == 0)
    return 0;
  bool bListed = false;
  for (int n : m_vSnap3DShots)
    if (n == m_nShot || n == 0)
      bListed = true;
  if (!bListed)
    return 0;
  m_bSnap3DActive = true;
  m_fSnap3DLast = 0;
  m_fSnap3DDx = std::max(m_fSnap3DDx, m_fH);
  m_fSnap3DDy = std::max(m_fSnap3DDy, m_fH);
  m_fSnap3DDz = std::max(m_fSnap3DDz, m_fH);
  const CCubeN s = GetSampleUserArea();
  m_nSnap3DNz = (int)((s.z1 - s.z0 + 1) * m_fH / m_fSnap3DDz);
  if (GetGroupSize() > 1) {
    const CCubeR a = GetRealUserArea();
    double z = a.z0 - m_nZ0 * m_fH;
    int nCount = 0;
    if (z <= a.z1) {
      for (; z <= a.z1 + 1e-9 * m_fH; z += m_fSnap3DDz)
        if (z >= a.z0 - 1e-9 * m_fH)
          nCount++;
    }
    m_nSnap3DNz = nCount;
  }
  return 0;
}

CCubeN CCalc3D::GetSampleUserArea() {
  CCubeN c(m_nFrame, m_nFrame, m_nFrame, m_nNx - m_nFrame - 1, m_nNy - m_nFrame - 1, m_nNz - m_nFrame - 1);
  if (HasUpperNeighbour())
    c.z0 = m_nStart;
  if (HasLowerNeighbour())
    c.z1 = m_nNz - m_nStart - 1;
  return c;
}

CCubeR CCalc3D::GetRealUserArea() {
  const double d = m_nFrame * m_fH;
  CCubeR c(m_cubeGrid.x0 + d, m_cubeGrid.y0 + d, m_cubeGrid.z0 + d, m_cubeGrid.x1 - d, m_cubeGrid.y1 - d,
           m_cubeGrid.z1 - d);
  if (HasUpperNeighbour())
    c.z0 = m_cubeGrid.z0 + m_nStart * m_fH;
  if (HasLowerNeighbour())
    c.z1 = m_cubeGrid.z1 - m_nStart * m_fH;
  return c;
}
