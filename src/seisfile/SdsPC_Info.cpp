// CSdsPC: the header-field map: its defaults by file type and the .inf side
// file that moves or scales its rows.
#include <cstdlib>
#include <string>

#include "SdsPC.h"

static void set_row(SDS_INFOROW& row, int16_t nType, double rValue) {
  row.m_nType = nType;
  row.m_rValue = rValue;
  row.m_nAux = 0;
}

void CSdsPC::SetDefaultInfo() {
  if (m_Type == REC) {
    set_row(m_arInfo[INFO_SHOTX], 1, 21);
    set_row(m_arInfo[INFO_SHOTY], 1, 73);
    set_row(m_arInfo[INFO_RECVX], 1, 29);
    set_row(m_arInfo[INFO_RECVY], 1, 77);
    set_row(m_arInfo[INFO_SHOTZ], 1, -1);
    set_row(m_arInfo[INFO_RECVZ], 1, -1);
    set_row(m_arInfo[INFO_PART], 1, 17);
    set_row(m_arInfo[INFO_COORSCALER], 1, 13);
    set_row(m_arInfo[INFO_ELEVSCALER], 1, -1);
  } else {
    set_row(m_arInfo[INFO_SHOTX], 1, 73);
    set_row(m_arInfo[INFO_SHOTY], 1, 77);
    set_row(m_arInfo[INFO_RECVX], 1, 81);
    set_row(m_arInfo[INFO_RECVY], 1, 85);
    set_row(m_arInfo[INFO_SHOTZ], 1, 45);
    set_row(m_arInfo[INFO_RECVZ], 1, 41);
    set_row(m_arInfo[INFO_PART], 1, 17);
    set_row(m_arInfo[INFO_COORSCALER], 0, 71);
    set_row(m_arInfo[INFO_ELEVSCALER], 0, 69);
  }
  set_row(m_arInfo[INFO_KMTRS], 1, 1.0);
  set_row(m_arInfo[INFO_KMCRD], 1, 1.0);
  set_row(m_arInfo[INFO_ZUNIT], 1, -1);
  set_row(m_arInfo[INFO_NTYPE], 1, -1);
  set_row(m_arInfo[INFO_NCOMP], 1, -1);
  set_row(m_arInfo[INFO_KMVAL], 1, -1);
}

// Keys of the .inf file, in the order they are tried, with their rows.
struct SInfKey {
  const char* szKey;
  int nRow;
  int nAux;
};
static const SInfKey s_infKeys[] = {{"ShotX=", INFO_SHOTX, 0},
                                    {"RecvX=", INFO_RECVX, 0},
                                    {"ShotY=", INFO_SHOTY, 0},
                                    {"RecvY=", INFO_RECVY, 0},
                                    {"ShotZ=", INFO_SHOTZ, 0},
                                    {"RecvZ=", INFO_RECVZ, 0},
                                    {"CoorScaler=", INFO_COORSCALER, 0},
                                    {"ElevScaler=", INFO_ELEVSCALER, 0},
                                    {"Part0=", INFO_PART, 0},
                                    {"Part1=", INFO_PART, 1},
                                    {"kmTrs=", INFO_KMTRS, 0},
                                    {"kmCrd=", INFO_KMCRD, 0},
                                    {"zUnit=", INFO_ZUNIT, 0},
                                    {"nType=", INFO_NTYPE, 0},
                                    {"nComp=", INFO_NCOMP, 0},
                                    {"kmVal=", INFO_KMVAL, 0}};

// Rows holding a header position take "type,position"; the others a number.
static bool is_position_row(int nRow) {
  return nRow <= INFO_PART || nRow == INFO_COORSCALER || nRow == INFO_ELEVSCALER;
}

static void apply_inf_line(SDS_INFOROW* rows, char* line) {
  char* semi = strchr(line, ';');
  if (semi)
    *semi = 0;
  if (strlen(line) <= 6)
    return;
  const SInfKey* key = nullptr;
  for (const SInfKey& k : s_infKeys)
    if (!strncmp(line, k.szKey, strlen(k.szKey))) {
      key = &k;
      break;
    }
  if (!key)
    return;
  const char* value = line + strlen(key->szKey);
  SDS_INFOROW& row = rows[key->nRow];
  if (!is_position_row(key->nRow)) {
    double v = atof(value);
    if (v > 0)
      set_row(row, 0, v);
    return;
  }
  const char* comma = strchr(value, ',');
  if (!comma) {
    if (!strncmp(value, "nouse", 5))
      set_row(row, -1, -1);
    return;
  }
  std::string strType(value, comma - value);
  int16_t nType;
  if (strType == "short")
    nType = 0;
  else if (strType == "long" || strType == "INT32")
    nType = 1;
  else
    return;
  double pos = atof(comma + 1);
  if (pos <= 0)
    return;
  set_row(row, nType, pos);
  row.m_nAux = (int16_t)key->nAux;
}

void CSdsPC::GetInfoTraceFromFile(const char* szFile) {
  SetDefaultInfo();
  char szName[4100];
  snprintf(szName, sizeof(szName), "%.4090s.inf", szFile);
  FILE* fp = fopen(szName, "rt");
  if (!fp)
    return;
  char line[100];
  while (fgets(line, sizeof(line), fp))
    apply_inf_line(m_arInfo, line);
  fclose(fp);
}
