#include "features/nvme/ControllerCapabilities.h"

namespace features::nvme {

ControllerCapabilities::ControllerCapabilities(const uint8_t* identify)
    : ControllerCapabilities(structureAt<IdentifyController>(identify)) {}

ControllerCapabilities::ControllerCapabilities(const IdentifyController& identify)
    : vid(identify.vid),
      cmic(identify.cmic),
      mdts(identify.mdts),
      cntlid(identify.cntlid),
      version(identify.ver),
      oaes(identify.oaes),
      ctratt(identify.ctratt),
      oacs(identify.oacs),
      frmw(identify.frmw),
      lpa(identify.lpa),
      elpe(identify.elpe),
      npss(identify.npss),
      apsta(identify.apsta),
      mtfa(identify.mtfa),
      fwug(identify.fwug),
      edstt(identify.edstt),
      hmpre(identify.hmpre),
      kas(identify.kas),
      hctma(identify.hctma),
      sanicap(identify.sanicap),
      pels(identify.pels),
      nn(identify.nn),
      oncs(identify.oncs),
      fna(identify.fna),
      vwc(identify.vwc),
      nwpc(identify.nwpc),
      mnan(identify.mnan) {}

}  // namespace features::nvme
