// Acquisition geometry store: the distinct shot points of a survey file and,
// for the active shot, its excitation points, moment tensors, receivers and
// observation zone.
#pragma once

#include <cstddef>
#include <vector>

#include "common.h"
#include "survey/ShotPoint.h"

// The inherited cube is the observation zone of the active shot.
class CSurvey3D : public CCubeR {
public:
  CString m_strFile;                         // survey file name
  std::vector<C3DPointR> m_vShots;           // distinct shot points in file order
  std::vector<C3DPointR> m_vExcitePoints;    // excitation points of the active shot
  std::vector<int> m_vShotIds;               // ids parallel to m_vShots, or empty
  std::vector<CShotTauK> m_vTauK;            // tensors parallel to m_vExcitePoints
  std::vector<C3DPointR> m_vReceivers;       // receivers of the active shot
  std::vector<int> m_vRcvInline;             // parallel to m_vReceivers
  std::vector<int> m_vRcvCrossline;          // parallel to m_vReceivers
  std::vector<int> m_vRcvTraceId;            // parallel to m_vReceivers, or empty
  std::vector<int> m_vRcvFileId;             // parallel to m_vReceivers, or empty
  int m_nActiveShot = -1;                    // active shot number, -1 for none
  int m_nActiveIndex = -1;                   // its index in m_vShots
  bool m_bMomentTensors = false;             // tensors are read from the file
  bool m_bFromSgy = false;                   // survey taken from SEG-Y headers
  bool m_bUseShotId = false;                 // shots are numbered by their file ids
  bool m_bShotsDefinedByCoordinates = false; // ids never separate shots

  // Two coordinates closer than this (axis by axis) are one.
  static double MIN_DIST;
  // Whether the list of registered shot ids has been printed by this process.
  static bool s_bShotIdListShown;

  CSurvey3D() = default;
  ~CSurvey3D() override = default;

  // Reads the shot list of a text survey file (or hands a SEG-Y file over to
  // LoadFromSgy). 0 on success, 1 on failure.
  int LoadSurvey(const char* szFile, bool bMomentTensors);
  // Survey taken from SEG-Y trace headers. 0 on success, 1 on failure.
  int LoadFromSgy(const char* szFile);
  // Empties all lists and the file name; keeps the two numbering flags.
  void Clear();

  // Parses one line of a text survey; all outputs get their defaults first.
  // 0 if at least six fields were read, 1 otherwise.
  static int InterpretSurveyFileLine(const char* szLine, double& sx, double& sy, double& sz, double& rx, double& ry,
                                     double& rz, int& inl, int& xl, int& id, float& k11, float& k22, float& k33,
                                     float& k12, float& k13, float& k23, int& traceId, int& fileId);

  // Range of valid shot numbers (ids or ordinals).
  int GetMinShot() const;
  int GetMaxShot() const;

  static void PrintErrorOnOpenFile(const char* szFile);

  // Collects the excitation points, tensors and receivers of shot nShot; a
  // negative number collects all distinct receivers of the survey.
  // 0 on success, 1 on failure, -35 if no shot has this id.
  int SetActiveShot(int nShot);

  C3DPointR GetActiveShotPt() const;
  CCubeR GetObsZone() const;
  // Id of the active shot when the survey has ids, else its number.
  int GetActiveShotId() const;

  int GetRcvInline(int i) const;
  int GetRcvCrossline(int i) const;
  int GetRcvTraceId(int i) const;
  int GetRcvFileId(int i) const;

private:
  bool UseShotIdInForce() const;
  int CollectFromText(int nShot, const C3DPointR& A, bool bById, CShotTauK& T);
  int CollectFromSgy(int nShot, const C3DPointR& A);
  void AddReceiver(const C3DPointR& r, int inl, int xl, int traceId, int fileId);
};
