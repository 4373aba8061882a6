#!/usr/bin/env python3
"""sbom.py NAME VERSION BOOST JSON CLI11 CHART_JS: prints the software bill of materials of a package (nimbrel,
nimbrel-simdrive, nimbrel-exporter or nimbrel-report) as SPDX 2.3 in JSON: what its programs contain, and what they
load. BOOST, JSON, CLI11 and CHART_JS are the versions of Boost, nlohmann-json, CLI11 and Chart.js that are in them.

The same input gives the same bytes: the time is that of SOURCE_DATE_EPOCH, else of now.
"""

import hashlib
import json
import os
import sys
import time

VELKO = "LicenseRef-Velko-EULA"
# SPDX's names of relations: of code in the program itself, and of a library that it loads.
CONTAINED = "STATIC_LINK"
LOADED = "DYNAMIC_LINK"
LOADED_IF_THERE = "RUNTIME_DEPENDENCY_OF"
SHIPPED = "CONTAINS"  # a file of the package


def parts(name, boost, json_for_cpp, cli11, chart_js):
    """What a package's programs are made of: name, version or none, licence, relation."""
    if name == "nimbrel-report":
        return [("Chart.js", chart_js, "MIT", SHIPPED), ("Python", None, "PSF-2.0", LOADED_IF_THERE),
                ("Jinja", None, "BSD-3-Clause", LOADED_IF_THERE), ("jsonschema", None, "MIT", LOADED_IF_THERE)]
    rows = [
        ("Boost", boost, "BSL-1.0", CONTAINED),
        ("tl::expected", None, "CC0-1.0", CONTAINED),
        ("GNU C library", None, "LGPL-2.1-or-later", LOADED),
        ("GNU C++ library", None, "GPL-3.0-or-later WITH GCC-exception-3.1", LOADED),
    ]
    if name == "nimbrel":
        rows.append(("JSON for Modern C++", json_for_cpp, "MIT", CONTAINED))
        rows.append(("libblkid", None, "LGPL-2.1-or-later", LOADED_IF_THERE))
        rows.append(("OpenSSL", None, "Apache-2.0", LOADED_IF_THERE))
    if name == "nimbrel-exporter":
        rows.append(("JSON for Modern C++", json_for_cpp, "MIT", CONTAINED))
        rows.append(("CLI11", cli11, "BSD-3-Clause", CONTAINED))
        rows.append(("prometheus-cpp", None, "MIT", LOADED))
        rows.append(("CivetWeb", None, "MIT", LOADED))
    if name == "nimbrel-simdrive":
        rows.append(("CLI11", cli11, "BSD-3-Clause", CONTAINED))
        rows.append(("OpenSSL", None, "Apache-2.0", LOADED))
    return rows


def identifier(name):
    return "SPDXRef-Package-" + "".join(c if c.isalnum() else "-" for c in name)


def package(name, version, licence, supplier="NOASSERTION"):
    fields = {"SPDXID": identifier(name), "name": name, "supplier": supplier, "downloadLocation": "NOASSERTION",
              "filesAnalyzed": False, "licenseConcluded": licence, "licenseDeclared": licence,
              "copyrightText": "NOASSERTION"}
    return {**fields, "versionInfo": version} if version else fields


def relation(name, part, kind):
    here, there = identifier(name), identifier(part)
    if kind == LOADED_IF_THERE:
        here, there = there, here
    return {"spdxElementId": here, "relationshipType": kind, "relatedSpdxElement": there}


def document(name, version, *versions):
    rows = parts(name, *versions)
    packages = [package(name, version, VELKO, "Organization: Velko")]
    packages += [package(part, part_version, licence) for part, part_version, licence, _ in rows]
    relations = [{"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES",
                  "relatedSpdxElement": identifier(name)}]
    relations += [relation(name, part, kind) for part, _, _, kind in rows]
    content = hashlib.sha256(json.dumps([packages, relations]).encode()).hexdigest()
    created = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(int(os.environ.get("SOURCE_DATE_EPOCH") or time.time())))
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"{name}-{version}",
        "documentNamespace": f"https://velko.example/spdx/{name}-{version}-{content}",
        "creationInfo": {"created": created, "creators": ["Organization: Velko", "Tool: packaging/sbom.py"]},
        "packages": packages,
        "relationships": relations,
        "hasExtractedLicensingInfos": [{
            "licenseId": VELKO,
            "name": "Velko End-User License Agreement",
            "extractedText": f"See /usr/share/doc/{name}/copyright, or run: nimbrel version -display license",
        }],
    }


if __name__ == "__main__":
    json.dump(document(*sys.argv[1:]), sys.stdout, indent=2)
    print()
