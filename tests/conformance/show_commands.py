"""Every command that shows, with all its forms: tests walk over them to see what a look at a drive leaves."""

# By the name of the catalogue's row; drive 0 is the one that is looked at.
SHOWS = {
    "VelkoSSD": ["show -velkossd", "show -a -velkossd", "show -d OCPSupported,OCPMajorVersion,Nonsense -velkossd 0"],
    "ShowEnduranceAnalyzer": ["show -velkossd 0 -enduranceanalyzer"],
    "SMART": ["show -smart", "show -velkossd 0 -smart IncludeNVMeSmartHealthLog=false", "show -velkossd 0 -smart AB",
              "show -d Temperature,Nonsense -velkossd 0 -smart"],
    "Sensors": ["show -sensor", "show -d Temperature,Nonsense -velkossd 0 -sensor"],
    "Performance": ["show -performance"],
    "DriveSelfTestShow": ["show -velkossd 0 -selftest"],
    "IdentifyDevice": ["show -velkossd 0 -identify", "show -velkossd 0 -identify -nvmecontroller",
                       "show -velkossd 0 -identify -namespace 1", "show -velkossd 0 -identify -namespace attached",
                       "show -velkossd 0 -identify -namespace allocated",
                       "show -velkossd 0 -identify -namespace 1 -descriptors", "show -velkossd 0 -identify -uuidlist"],
    "LatencyStatistics": ["show -velkossd 0 -latencystatistics reads", "show -velkossd 0 -latencystatistics writes"],
    "ParsePersistentEventLog": ["show -velkossd 0 -persistenteventlog"],
    "ShowNVMeLog": ["show -velkossd 0 -nvmelog list", "show -velkossd 0 -nvmelog"]
                   + [f"show -velkossd 0 -nvmelog {lid}" for lid in (*range(1, 16), 128, 129)],
    "NVMeControllerList": ["show -nvmecontroller", "show -velkossd 0 -nvmecontroller",
                           "show -velkossd 0 -namespace 1 -nvmecontroller"],
    "ShowLED": ["show -led"],
    # Not 03h, 16h, 80h, 81h and 85h: NAMED has them.
    "GetFeature": [f"show -velkossd 0 -getfeature {fid}"
                   for fid in (1, 2, *range(4, 0x16), 0x17, 0x18, 0x82, 0x83, 0x84)]
                  + ["show -velkossd 0 -getfeature 2 Select=saved"],
    "PerformanceBoosterShow": ["show -performancebooster"],
    "ShowTimestamp": ["show -timestamp"],
    "BackgroundProcessing": ["show -backgroundprocessing"],
    "ShowPartitionInfo": ["show -partition -velkossd"],
    "ShowReadonlyWriteThroughMode": [],
    "ShowErrorInjection": [],
    "ShowIEEESilo": [],
    "ShowPLPCheck": [],
    "ShowDSSDPowerState": [],
}

# What the user names, and the drive says nothing of: it is asked for, which leaves an entry where it is not there.
NAMED = ["show -velkossd 0 -nvmelog 0xC0", "show -velkossd 0 -nvmelog 0xFE"] \
    + [f"show -velkossd 0 -getfeature {fid}" for fid in (3, 0x16, 0x80, 0x81, 0x85, 0xC0, 0xFF)] \
    + [f"show -velkossd 0 -{name}" for name in ("readonlywritethrough", "errorinjection", "ieeesilo", "plpcheck",
                                                "dssdpowerstate")]
