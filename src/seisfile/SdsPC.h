// CSdsPC: the one object through which all seismic trace files are read
// and written (SEG-Y gathers, models and 3-D cubes).
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "ZplFile.h"
#include "common.h"

// File type, taken from the extension.
enum TYPEFILE { REC = 0, SGY = 1, ZPL = 2 };

// Unit of the trace axis.
enum DATAUNIT { DU_SEC = 0, DU_MSEC = 1, DU_M = 2, DU_SAME = 3 };

// Sample format: 1..5 are the SEG-Y format codes, the rest are our own.
enum SGYDATATYPE {
  SGY_NONE = 0,
  SGY_IBM = 1,
  SGY_INT4 = 2,
  SGY_INT2 = 3,
  SGY_GAIN4 = 4,
  SGY_IEEE = 5,
  SGY_FLOAT = 6,
  SGY_T1 = 7
};

// Rows of CSdsPC::m_arInfo: where each trace attribute stands in a header.
enum SDS_INFOROWID {
  INFO_SHOTX = 0,
  INFO_SHOTY = 1,
  INFO_RECVX = 2,
  INFO_RECVY = 3,
  INFO_SHOTZ = 4,
  INFO_RECVZ = 5,
  INFO_PART = 6,
  INFO_KMTRS = 7,
  INFO_KMCRD = 8,
  INFO_COORSCALER = 9,
  INFO_ELEVSCALER = 10,
  INFO_ZUNIT = 11,
  INFO_NTYPE = 12,
  INFO_NCOMP = 13,
  INFO_KMVAL = 14,
  INFO_ROWS = 15
};

#pragma pack(push, 1)

// One record per trace; 44 bytes, stored as it stands in cache files.
struct SDS_TRACEINFO {
  float m_fXs; // source X
  float m_fXr; // receiver X
  float m_fYs; // source Y
  float m_fYr; // receiver Y
  float m_fZs; // source Z (down)
  float m_fZr; // receiver Z (down)
  int32_t m_nPart;
  int64_t m_nPos; // byte offset of the trace header in the file
  int32_t m_nPartNo;
  int32_t m_nTraceNo;
};

// One row of the header-field map: m_nType -1 absent, 0 16-bit, 1 32-bit;
// m_rValue is a 1-based byte position or, for some rows, a value.
struct SDS_INFOROW {
  int16_t m_nType;
  double m_rValue;
  int16_t m_nAux;
};

// Raw header bytes with typed access at a 0-based byte offset. The typed
// accessors read and write in the machine's byte order; whether the bytes
// are in file order depends on who filled them (see GetTraceHeader).
template <int N> struct SGY_RAWHEADER {
  unsigned char m_buf[N];

  int32_t GetInt32(int nOffset) const {
    int32_t v;
    memcpy(&v, m_buf + nOffset, 4);
    return v;
  }
  int16_t GetInt16(int nOffset) const {
    int16_t v;
    memcpy(&v, m_buf + nOffset, 2);
    return v;
  }
  float GetFloat(int nOffset) const {
    float v;
    memcpy(&v, m_buf + nOffset, 4);
    return v;
  }
  void SetInt32(int nOffset, int32_t v) { memcpy(m_buf + nOffset, &v, 4); }
  void SetInt16(int nOffset, int16_t v) { memcpy(m_buf + nOffset, &v, 2); }
  void SetFloat(int nOffset, float v) { memcpy(m_buf + nOffset, &v, 4); }
};

// 3600-byte SEG-Y file header (3200 EBCDIC text + 400 binary).
struct SGY_FILEHEADER : SGY_RAWHEADER<3600> {};
// 240-byte SEG-Y trace header.
struct SGY_TRACEHEADER : SGY_RAWHEADER<240> {};
// 80-byte SDS trace header, all fields in the machine's byte order.
struct SDS_TRACEHEADER : SGY_RAWHEADER<80> {};

#pragma pack(pop)

static_assert(sizeof(SDS_TRACEINFO) == 44, "SDS_TRACEINFO must be 44 bytes");
static_assert(sizeof(SDS_INFOROW) == 12, "SDS_INFOROW must be 12 bytes");
static_assert(sizeof(SGY_FILEHEADER) == 3600, "SGY_FILEHEADER size");
static_assert(sizeof(SGY_TRACEHEADER) == 240, "SGY_TRACEHEADER size");
static_assert(sizeof(SDS_TRACEHEADER) == 80, "SDS_TRACEHEADER size");

// Where OnOpen found the lateral positions of a file's traces.
enum SDS_PLACEMENT {
  PLACE_RECEIVER = 0, // receiver X/Y of the header-field map (bytes 81-88 by default)
  PLACE_CDP = 1,      // CDP X/Y, bytes 181-184/185-188, through the coordinate scaler
  PLACE_LINES = 2,    // inline/crossline numbers, bytes 189-192/193-196, on a regular grid
  PLACE_NONE = 3      // several traces, all at one point, and no fallback gave more
};

// Placeholders kept for call compatibility; nothing reads their contents.
struct PARTITITION_INFO {};
struct SDS_TRACEINFO_ALL {};

class CSdsPC {
public:
  CSdsPC();
  ~CSdsPC();
  CSdsPC(const CSdsPC&) = delete;
  CSdsPC& operator=(const CSdsPC&) = delete;

  // ---- data ----
  char m_szFileName[4096];
  int m_bInfoSaved;
  SDS_TRACEINFO* m_pSR;
  FILE* m_fp;
  int m_nTraceCount;
  int m_nTraceLen;
  double m_rT0, m_rT1, m_rDT;
  double m_rX0, m_rX1, m_rDX;
  int m_nfp;
  TYPEFILE m_Type;
  int m_bSwap;
  int m_nParts;
  char m_cComponent;
  char m_szComponents[8];
  SGYDATATYPE m_DataType;
  DATAUNIT m_nUnit;
  double m_rValueScale;
  int64_t m_nFileLen;
  int m_bWrite;
  int m_nTraceBytes;
  SDS_INFOROW m_arInfo[INFO_ROWS];
  int m_nSlice;
  double m_rY0, m_rY1, m_rDY;
  bool m_bLargeFile;
  int m_bFileFoot;
  // Fallback placement for files whose traces all stand at one point (model
  // cubes written without receiver coordinates): CDP X/Y, else inline and
  // crossline numbers on a grid of step m_rLineStep from (m_rLineX0,
  // m_rLineY0). Asked for by SetPlacement before OnOpen; Reset keeps it.
  bool m_bPlaceFallback = false;
  double m_rLineX0 = 0.0, m_rLineY0 = 0.0, m_rLineStep = 0.0;
  // Set by OnOpen: the source of the positions, and the first inline and
  // crossline numbers when they placed the traces.
  SDS_PLACEMENT m_nPlacement = PLACE_RECEIVER;
  int m_nFirstInline = 0, m_nFirstCrossline = 0;

  // ---- class-level settings, shared by all objects ----
  static int COOR_SCALER;
  static int ELEV_SCALER;
  static float VALUE_SCALE_SAVE;
  static int16_t COMPONENT_SAVE;
  static bool USE_NEGATIVE_SRC_RCV_DIST;
  static bool ZERO_TOP;
  static bool ELEV_TO_Z;
  static bool PROMAX;
  static bool LINES_ALONG_Y;
  static int INLINE_START, INLINE_STEP, CROSSLINE_START, CROSSLINE_STEP;
  static int bFOOT;
  static bool bRotate;
  static int nGridStep;
  static double rX00, rY00, rXx0, rYx0;
  static std::vector<CString> arPathSubst;

  // The component alphabet: index 1..14 -> letter; anything else is '?'.
  static const char* COMPONENT_ALPHABET; // "PQRZXCSTVDELFN"
  static char ComponentLetter(int nIndex);
  static int ComponentIndex(char c); // 0 when not in the alphabet

  // ---- type detection and state ----
  static bool GetTypeFromFileName(const char* name, TYPEFILE& type);
  // Frees the table, closes the stream and returns to the fresh state.
  void Reset();
  // Same as Reset: closes the file (the table goes with it).
  void Close() { Reset(); }

  // ---- record table queries ----
  void GetTraceParam(double* p);
  bool Set_pSR(int nTrace, SDS_TRACEINFO* pOut);
  SDS_TRACEINFO* GetTraceInfoAll() { return m_pSR; }
  bool GetCoord(int nTrace, C3DPointR& src, C3DPointR& rec);
  CPointR GetSrc(int nTrace);
  CPointR GetRec(int nTrace);
  CRectR GetXYRect(int bReceiversOnly, CPointR src);
  C3DSizeN GetXYSize(CPointR src);
  bool SetTraceInfo(SDS_TRACEINFO& info, const unsigned char* header, PARTITITION_INFO* pPart);
  void Rotate();

  // ---- header-field map and side files ----
  void SetDefaultInfo();
  void GetInfoTraceFromFile(const char* szFile);
  bool GetInfoHeaderFromFile(const char* szFile, int nReserved);
  bool SetInfoHeaderFromFile(const char* szFile, int nWrite);

  // ---- SEG-Y format ----
  SGY_FILEHEADER CreateSGYHeaderFile(int nTraces, double* param, DATAUNIT unit, int nFormat);
  SGY_TRACEHEADER CreateSGYHeaderTrace(int* ids, SDS_TRACEINFO info, double* param, DATAUNIT unit);
  int ProverkaHederaSEGY(SGY_FILEHEADER* h, int& nSwap);
  int ProverkaHederaSEGY(SGY_TRACEHEADER* h, int nSwap);
  int SizeOfPointSDS(SGY_TRACEHEADER* h, SGYDATATYPE* pType = nullptr);
  int GetTraceLenSDS(SGY_TRACEHEADER* h);
  bool GetTraceHeader(int nTrace, SGY_TRACEHEADER& h, int bCheck);
  bool SetTraceHeader(int nTrace, SGY_TRACEHEADER& h, int bCheck);
  // Delay recording time (bytes 109-110, big-endian, outside the swapped
  // set): the first time of a time axis in whole milliseconds, where other
  // readers look for it. A depth axis (DU_M) leaves the field alone.
  static void SetDelayTime(SGY_TRACEHEADER& h, double t0, DATAUNIT unit);
  static int GetDelayTime(const SGY_TRACEHEADER& h);
  // A SEG-Y file as this system writes it (one trace length) is complete
  // when its size holds exactly the trace count of its file header.
  // nFound: whole traces on disk; nExpected: the header's count, -1 when
  // the file or its header cannot be read.
  bool IsSgyComplete(const char* name, int& nFound, int& nExpected);

  // ---- SDS format ----
  // nFormat: 0 "R4", 1 "I2", any other "T1"; param: t0, t1, dt.
  SDS_TRACEHEADER CreateSDSHeaderTrace(int* ids, SDS_TRACEINFO info, double* param, DATAUNIT unit, int nFormat);
  // Sample bytes of a trace; 0 for a null header, an empty axis or no step.
  int GetTraceLenSDS(SDS_TRACEHEADER* h);
  // Bytes of a sample by the header's format letters; 0 for an empty axis.
  int SizeOfPointSDS(SDS_TRACEHEADER* h);
  // Bytes of a sample of the two format letters ("R4", "I2", "I4", "T1");
  // 0 for others. pType, when given, receives the sample format of a known
  // size and is left alone otherwise.
  static int SizeOfFormat(const char* fmt, SGYDATATYPE* pType = nullptr);

  // ---- opening and reading ----
  void SetPlacement(double rX0, double rY0, double rStep) {
    m_bPlaceFallback = true;
    m_rLineX0 = rX0;
    m_rLineY0 = rY0;
    m_rLineStep = rStep;
  }
  bool OnOpen(const char* name, int bWrite = 0, int bDepth = 0, int nReserved = 0, int nLift = 0);
  bool GetTrace(int nTrace, float* out, int n);
  bool GetTrace(int nTrace, float* out, double* axis, float* scratch, float fThreshold);
  bool Get3D_buf(C3DSizeN size, CCubeR cube, float* buf, SDS_TRACEINFO_ALL* pAll, int nReserved, float fThreshold);
  bool Get3D_buf(C3DSizeN size, CCubeR cube, float* buf, float fThreshold) {
    return Get3D_buf(size, cube, buf, nullptr, 0, fThreshold);
  }

  // ---- writing ----
  bool OnSave(const char* name, float* pData, const CRectR& rect, const CSizeN& size, int nReserved1 = 0,
              int nReserved2 = 0, bool bAlongY = false, SDS_TRACEINFO* pInfo = nullptr, DATAUNIT unit = DU_SAME);
  bool OnSaveModel(const char* name, float* pP, float* pQ, float* pR, CRectR rect, CSizeN size, SDS_TRACEINFO* pInfo,
                   const char* szComps, DATAUNIT unit, float* pS = nullptr);
  bool Create3D_file(const char* name, C3DSizeN size, CCubeR cube, float fReserved, DATAUNIT unit, int nReserved,
                     C3DPointR* pSource);
  void SetTrace(int nTrace, float* data, int n);

  // ---- ZPL grid files ----
  // Bytes of a trace of the section (4 * n2), 0 for a null header.
  int GetTraceLenSDS(ZPL_FILEHEADER* h);
  // Adds size.cz frames of size.cx x size.cy to a snapshot file, or creates
  // it; the k-th non-null plane is component szComps[k]. cube: X range,
  // second axis range in y, times of the first and last frame in z.
  bool OnAddToZPL_SNAP(const char* szFile, C3DSizeN& size, CCubeR& cube, char* szComps, CPointR& ptSrc, float* p0,
                       float* p1, float* p2, float* p3);
  // Joins the files szFile less its extension + "-%d.zpl", 1 to nLast, into
  // szFile (one section a file) and deletes them.
  bool OnSaveNZpl2ZPL(const char* szFile, int nLast, int nReserved);

  // ---- file positioning (32-bit below 2e9 bytes, 64-bit above) ----
  bool SeekTo(FILE* fp, int64_t nPos);
  int64_t TellPos(FILE* fp);

private:
  bool ScanSGY(CString& strError);
  bool ScanREC(CString& strError);
  bool GetTraceREC(const SDS_TRACEINFO& r, float* out, int n, int& m);
  void SetTraceREC(int nTrace, float* data, int n);
  // Per-trace fields of an SDS header (ids, coordinates) from a record.
  void SetSDSTraceFields(SDS_TRACEHEADER& h, const int* ids, const SDS_TRACEINFO& info) const;
  // OnOpen after the file was opened: from the .cr2 cache, or by a scan.
  void OpenFromCache(int bDepth, int nLift);
  bool OpenByScan(int bDepth, int nLift);
  // .cr2 content that does not fit the main file or itself; see SdsPC_Cache.
  bool IsCacheConsistent();
  // Back to the fresh per-file state, keeping the open stream and the name.
  void ClearFileState();
  bool ScanZPL(CString& strError, int& nShapeClass);
  void OpenTraceAxis(int nLift);
  void SetContentClass(int nShapeClass);
  // Samples of one trace into out (at most n); m: how many were delivered.
  bool GetTraceSGY(const SDS_TRACEINFO& r, float* out, int n, int& m);
  bool GetTraceZPL(const SDS_TRACEINFO& r, float* out, int n, int& m);
  void SetZplFrameAxis(const ZPL_FILEHEADER& h);
  bool SaveZpl(const char* name, float* pData, const CRectR& rect, const CSizeN& size, SDS_TRACEINFO* pInfo,
               DATAUNIT unit);
  bool SaveModelZpl(const char* name, float* const* ppVolumes, CRectR rect, CSizeN size, SDS_TRACEINFO* pInfo,
                    const char* szComps);
  bool JoinZplModel(const char* szFile, const std::vector<int>& vNumbers, const char* szBase, int nLen,
                    const char* szComps, int nComps);
  bool JoinZplSections(const char* szFile, const std::vector<int>& vNumbers, const char* szBase, int& nCopied);
  double HorizontalScale(const unsigned char* header) const;
  void LateralStatistics();
  void ApplyLift(int nLift);
  void ConvertFileLengths(double f);
  int SampleSize(SGYDATATYPE t) const;
  void DecodeSamples(const unsigned char* src, float* out, int n) const;
  bool InverseRotation(double& u, double& v) const;
};
