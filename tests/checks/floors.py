"""The floors of src/, lowest first. A folder uses its own floor and those below."""
FLOORS = {
    "support": 0,
    "memory": 1, "target": 1,
    "ir": 2,
    "tree": 3,
    "icode": 4, "cfg": 4,
    "scalar": 5, "ssa": 5, "loops": 5, "ipa": 5, "regs": 5,
    "driver": 6,
}
