"""Value multiplicities from DCMTK's data dictionary file (dicom.dic), for the generated comments.

Each line of the file is "(gggg,eeee)<TAB>VR<TAB>Keyword<TAB>VM<TAB>...". Repeating groups are
written as a range of groups, as in (6000-60FF,3000).
"""


def load_multiplicities(path):
    """The VM text of every tag of the file, by "(GGGG,EEEE)" in capitals; empty without a file."""
    if not path:
        return {}
    multiplicities = {}
    with open(path, encoding="latin-1") as stream:
        for line in stream:
            fields = line.rstrip("\n").split("\t")
            if len(fields) < 4 or not fields[0].startswith("("):
                continue
            multiplicities[fields[0].upper()] = fields[3]
    return multiplicities


def multiplicity(multiplicities, group, element):
    """The VM of a public tag, "" when the file does not have it (private tags never)."""
    if group % 2:
        return ""
    exact = f"({group:04X},{element:04X})"
    if exact in multiplicities:
        return multiplicities[exact]
    first = group & 0xFF00
    return multiplicities.get(f"({first:04X}-{first | 0xFF:04X},{element:04X})", "")
