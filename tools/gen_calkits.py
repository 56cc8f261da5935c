#!/usr/bin/python3
"""Writes the calibration kits delivered with the program: resources/calkits/*.skt.

Each kit is an INI file in the layout the program reads and writes itself: group [CalKit], the
Standards array (Standards\\size, Standards\\k\\Key, k counted from 1) and the four class lists
KitClasses\\SOLT\\Open|Short|Load|Thru, whose element k holds the single key k-1. The position in a
class list is the priority within the class.

Units as stored: Delay in ps, Loss in Gohm/s, Z0 in ohm, C0..C3 in 1e-15 F, 1e-27 F/Hz,
1e-36 F/Hz^2, 1e-45 F/Hz^3, L0..L3 in 1e-12 H, 1e-24 H/Hz, 1e-33 H/Hz^2, 1e-42 H/Hz^3.

Where the numbers come from (per kit, also in the KITS table below):
  KX-02K30H-MSOTS3  the maker's own polynomial 2.92 mm (m) kit; every number is the defining model
                    of this kit (short/open offset 28.353 ps, 2.4 Gohm/s; open C0..C3 = -10.6,
                    -1130, 52, -0.6; load ideal; defined thru 82.157 ps, 2.7 Gohm/s).
  85052B, 85052D    3.5 mm: open C0..C3 = 49.433, -310.131, 23.1682, -0.15966 with offset
                    29.243 ps / 2.2 Gohm/s; short L0..L3 = 2.0765, -108.54, 2.1705, -0.01 with
                    offset 31.785 ps / 2.36 Gohm/s. These are the coefficients published for the
                    3.5 mm kit family, as remembered by the author: check them against the kit's
                    own data sheet before metrology use. The band layout of 85052B (broadband load
                    to 9.99e11 Hz, lowband load to 3.001e9 Hz, sliding load from 2.99e9 Hz, all in
                    the Load class, 11 standards) is the program's required layout.
  uCal              the electronic module: no standards, its kit is built at run time from the
                    module's own characterisation.
  all others        plausible values, not a published definition: offset delays and losses of
                    the size that short precision offsets have in the connector family, open
                    capacitance polynomials of the right sign and size, ideal loads, flush thrus
                    (Delay 0, Loss 0) or a short adapter thru. Replace them with the kit's data
                    sheet values when a kit is characterised.

Run: /usr/bin/python3 tools/gen_calkits.py   (writes into resources/calkits/ beside this tree)
"""
import os

SHORT, OPEN, LOAD, THRU, DATA, SLIDING = 0, 1, 2, 3, 4, 5
MALE, FEMALE = 0, 1
CONN = {"APC": 0, "N": 1, "SMA": 2, "3.5mm": 3, "2.92mm": 4, "2.4mm": 5, "1.8mm": 6,
        "1.0mm": 7, "Other": 100}
CLASS_OF = {SHORT: "Short", OPEN: "Open", LOAD: "Load", SLIDING: "Load", THRU: "Thru"}
FMAX = 9.99e11


def std(id_, type_, desc, gender=MALE, fmin=0.0, fmax=FMAX, delay=0.0, loss=0.0, z0=50.0,
        c=(0.0, 0.0, 0.0, 0.0), l=(0.0, 0.0, 0.0, 0.0)):
    return dict(ID=id_, Type=type_, Description=desc, Gender=gender, UCalPort=0, FMin=fmin,
                FMax=fmax, Delay=delay, Loss=loss, Z0=z0, C=c, L=l)


def sol_set(first_id, gender, tag, open_def, short_def, load_loss=0.0, fmax=FMAX):
    """Open, short and load of one gender. open_def = (delay, loss, C0..C3),
    short_def = (delay, loss, L0..L3)."""
    od, ol, *oc = open_def
    sd, sl, *sc = short_def
    return [
        std(first_id, OPEN, "Open " + tag, gender, delay=od, loss=ol, c=tuple(oc), fmax=fmax),
        std(first_id + 1, SHORT, "Short " + tag, gender, delay=sd, loss=sl, l=tuple(sc),
            fmax=fmax),
        std(first_id + 2, LOAD, "Load " + tag, gender, loss=load_loss, fmax=fmax),
    ]


def flush_thru(id_):
    return std(id_, THRU, "Flush thru", delay=0.0, loss=0.0)


# 3.5 mm coefficients (see the module text for their origin).
OPEN_35 = (29.243, 2.2, 49.433, -310.131, 23.1682, -0.15966)
SHORT_35 = (31.785, 2.36, 2.0765, -108.54, 2.1705, -0.01)
# Plausible families (not published definitions).
OPEN_292 = (28.353, 2.4, -10.6, -1130.0, 52.0, -0.6)
SHORT_292 = (28.353, 2.4, 0.0, 0.0, 0.0, 0.0)
OPEN_24 = (23.1, 2.7, 29.0, 165.0, -3.5, 0.05)
SHORT_24 = (22.4, 2.9, 1.7, -90.0, 1.8, -0.008)
OPEN_SMA = (34.0, 2.0, 60.0, -400.0, 30.0, -0.2)
SHORT_SMA = (36.0, 2.1, 3.0, -120.0, 2.5, -0.02)
OPEN_18 = (20.5, 3.1, 18.0, 90.0, -2.0, 0.03)
SHORT_18 = (20.0, 3.3, 1.2, -60.0, 1.1, -0.005)


def kit_85052b():
    s = sol_set(1, MALE, "(m)", OPEN_35, SHORT_35)
    s += sol_set(4, FEMALE, "(f)", OPEN_35, SHORT_35)
    s += [
        std(7, LOAD, "Lowband load (m)", MALE, fmax=3.001e9),
        std(8, LOAD, "Lowband load (f)", FEMALE, fmax=3.001e9),
        std(9, SLIDING, "Sliding load (m)", MALE, fmin=2.99e9),
        std(10, SLIDING, "Sliding load (f)", FEMALE, fmin=2.99e9),
        flush_thru(11),
    ]
    return s


def two_gender_kit(open_def, short_def, thru=None, load_loss=0.0, fmax=FMAX):
    s = sol_set(1, MALE, "(m)", open_def, short_def, load_loss, fmax)
    s += sol_set(4, FEMALE, "(f)", open_def, short_def, load_loss, fmax)
    s.append(thru if thru is not None else flush_thru(7))
    return s


def one_gender_kit(gender, open_def, short_def, thru):
    tag = "(m)" if gender == MALE else "(f)"
    return sol_set(1, gender, tag, open_def, short_def) + [thru]


KITS = {
    # name: (connector, description, standards)
    "KX-02K30H-MSOTS3": ("2.92mm", "2.92 mm (m) polynomial SOLT kit",
                         one_gender_kit(MALE, OPEN_292, SHORT_292,
                                        std(4, THRU, "Defined thru", delay=82.157, loss=2.7))),
    "KX-02S30H-MSOTS3": ("SMA", "SMA (m) polynomial SOLT kit",
                         one_gender_kit(MALE, OPEN_SMA, SHORT_SMA,
                                        std(4, THRU, "Defined thru", delay=90.0, loss=2.2))),
    "02K34R-MSOTS3": ("2.92mm", "2.92 mm SOLT kit with flush thru",
                      two_gender_kit(OPEN_292, SHORT_292)),
    "02S34R-MSOTS3": ("SMA", "SMA SOLT kit with flush thru", two_gender_kit(OPEN_SMA, SHORT_SMA)),
    "03K30R-MSOTS3": ("2.92mm", "2.92 mm economy SOLT kit",
                      two_gender_kit(OPEN_292, SHORT_292, fmax=4.0e10)),
    "03S30R-MSOTS3": ("SMA", "SMA economy SOLT kit", two_gender_kit(OPEN_SMA, SHORT_SMA,
                                                                    fmax=2.65e10)),
    "7950CK40": ("2.92mm", "2.92 mm 40 GHz kit", two_gender_kit(OPEN_292, SHORT_292)),
    "8050CK40": ("2.4mm", "2.4 mm 40 GHz kit", two_gender_kit(OPEN_24, SHORT_24)),
    "8770CK40": ("2.92mm", "2.92 mm 40 GHz kit with lossy loads",
                 two_gender_kit(OPEN_292, SHORT_292, load_loss=1.3)),
    "85052B": ("3.5mm", "3.5 mm kit with sliding loads", kit_85052b()),
    "85052D": ("3.5mm", "3.5 mm economy kit", two_gender_kit(OPEN_35, SHORT_35)),
    "85056D": ("2.4mm", "2.4 mm economy kit", two_gender_kit(OPEN_24, SHORT_24)),
    "85520A": ("3.5mm", "3.5 mm offset-short kit",
               two_gender_kit(OPEN_35, (20.0, 2.36, 0.0, 0.0, 0.0, 0.0))),
    "85521A": ("3.5mm", "3.5 mm offset-short kit (second set)",
               two_gender_kit(OPEN_35, (24.0, 2.36, 0.0, 0.0, 0.0, 0.0))),
    "85561A": ("2.4mm", "2.4 mm kit", two_gender_kit(OPEN_24, SHORT_24)),
    "85562A": ("2.4mm", "2.4 mm kit with adapter thru",
               two_gender_kit(OPEN_24, SHORT_24,
                              std(7, THRU, "Adapter thru", delay=42.0, loss=2.9))),
    "85563A": ("1.8mm", "1.85 mm kit", two_gender_kit(OPEN_18, SHORT_18)),
    "85564A": ("1.8mm", "1.85 mm kit with adapter thru",
               two_gender_kit(OPEN_18, SHORT_18,
                              std(7, THRU, "Adapter thru", delay=35.0, loss=3.3))),
}


def fmt(v):
    if isinstance(v, bool):
        return "true" if v else "false"
    if isinstance(v, float):
        # Shortest text that reads back exactly, in the style the program writes (9.99e+11).
        for digits in range(1, 18):
            text = "%.*g" % (digits, v)
            if float(text) == v:
                return text
    return str(v)


def write_kit(path, connector, description, standards, is_ucal=False):
    lines = ["[CalKit]", "Version=1", "Description=" + description,
             "Connector=" + fmt(CONN[connector]), "IsUCal=" + fmt(is_ucal), "IsFactoryUCal=true"]
    for k, s in enumerate(standards, start=1):
        p = "Standards\\%d\\" % k
        lines += [p + "ID=%d" % s["ID"], p + "Type=%d" % s["Type"],
                  p + "Description=" + s["Description"], p + "Gender=%d" % s["Gender"],
                  p + "UCalPort=%d" % s["UCalPort"], p + "FMin=" + fmt(s["FMin"]),
                  p + "FMax=" + fmt(s["FMax"]), p + "Delay=" + fmt(s["Delay"]),
                  p + "Loss=" + fmt(s["Loss"]), p + "Z0=" + fmt(s["Z0"])]
        lines += [p + "C%d=" % i + fmt(float(v)) for i, v in enumerate(s["C"])]
        lines += [p + "L%d=" % i + fmt(float(v)) for i, v in enumerate(s["L"])]
    lines.append("Standards\\size=%d" % len(standards))
    for cls in ("Open", "Short", "Load", "Thru"):
        ids = [s["ID"] for s in standards if CLASS_OF.get(s["Type"]) == cls]
        for k, id_ in enumerate(ids, start=1):
            lines.append("KitClasses\\SOLT\\%s\\%d\\%d=%d" % (cls, k, k - 1, id_))
        lines.append("KitClasses\\SOLT\\%s\\size=%d" % (cls, len(ids)))
    with open(path, "w", newline="\n") as f:
        f.write("\n".join(lines) + "\n")


def main():
    out = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "resources", "calkits")
    os.makedirs(out, exist_ok=True)
    for name, (connector, description, standards) in sorted(KITS.items()):
        write_kit(os.path.join(out, name + ".skt"), connector, description, standards)
    write_kit(os.path.join(out, "uCal.skt"), "Other", "Electronic calibration module", [],
              is_ucal=True)


if __name__ == "__main__":
    main()
