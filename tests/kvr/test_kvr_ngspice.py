"""Raw files of ngspice: those that the simulator writes here, and bad ones."""

import datetime
import os
import shutil
import struct
import subprocess

import hypothesis
import kvr
import numpy as np
import pytest
from hypothesis import strategies as st

# The environment of other programs: without the sanitizer of a build under test.
UNSANITIZED = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
LOW_PASS = """low pass of 1 kohm and 1 uf
V1 in 0 DC 5 AC 1 PULSE(0 5 1m 1n 1n 50m 100m)
R1 in out 1k
C1 out 0 1u
.options reltol=1e-5
.control
{control}
.endc
.end
"""
RC = 1e-3


@pytest.fixture(scope="module")
def simulate(tmp_path_factory):
    """Runs ngspice on the low pass; returns the file that the control lines wrote as out.raw."""
    if shutil.which("ngspice") is None:
        pytest.fail("ngspice is not installed: apt install ngspice")

    def run(*control):
        folder = tmp_path_factory.mktemp("ngspice")
        (folder / "a.cir").write_text(LOW_PASS.format(control="\n".join(control)))
        done = subprocess.run(
            ["ngspice", "-b", "a.cir"], cwd=folder, capture_output=True, text=True,
            env=UNSANITIZED,
        )  # fmt: skip
        assert (folder / "out.raw").exists(), done.stdout + done.stderr
        return folder / "out.raw"

    return run


@pytest.fixture(scope="module")
def step(simulate):
    return simulate("tran 10u 6m", "write out.raw")


# ---- What ngspice writes ----


def test_step_response_is_that_of_the_theory(step):
    (run,) = kvr.open(step).runs
    assert run.name == "Transient Analysis"
    out = run["v(out)"]
    after = out.time > 1e-3
    exact = 5 * (1 - np.exp(-(out.time[after] - 1e-3) / RC))
    np.testing.assert_allclose(out.values[after], exact, atol=5e-3)
    assert np.all(out.values[out.time < 1e-3] == 0)
    assert (out.time[0], out.time[-1]) == (0, 6e-3)


def test_signals_of_a_plot_have_names_units_and_origin(step):
    (run,) = kvr.open(step).runs
    assert {s.label: s.unit for s in run} == {"v(in)": "V", "v(out)": "V", "i(v1)": "A"}
    signal = run["v(out)"]
    assert (signal.time_source, signal.root_source) == ("time", "out.raw")
    assert (signal.source, signal.model) == ("v(out)", "low pass of 1 kohm and 1 uf")
    assert [s.id for s in run] == [1, 2, 3]
    now = datetime.datetime.now(datetime.timezone.utc)
    assert abs(run.created - now) < datetime.timedelta(hours=1)
    assert not signal.values.flags.writeable
    assert signal.values.flags.c_contiguous and signal.values.flags.aligned


@pytest.mark.parametrize("analysis", ["tran 50u 6m", "ac dec 10 1 1e5", "dc V1 -5 5 0.5"])
def test_text_and_binary_files_agree(simulate, analysis):
    binary = kvr.open(simulate(analysis, "write out.raw")).runs[0]
    text = kvr.open(simulate(analysis, "set filetype=ascii", "write out.raw")).runs[0]
    assert [s.label for s in text] == [s.label for s in binary]
    assert len(binary) >= 2
    for signal in binary:
        # ngspice writes 16 digits.
        np.testing.assert_allclose(text[signal.label].time, signal.time, rtol=1e-15)
        np.testing.assert_allclose(text[signal.label].values, signal.values, rtol=1e-15)
        assert text[signal.label].values.dtype == signal.values.dtype


@pytest.mark.parametrize("filetype", ["ascii", "binary"])
def test_response_over_frequency_is_that_of_the_theory(simulate, filetype):
    path = simulate(f"set filetype={filetype}", "ac dec 10 1 1e5", "write out.raw")
    out = kvr.open(path).runs["AC Analysis"]["v(out)"]
    assert out.time.dtype == np.float64
    assert out.time_source == "frequency"
    assert len(out.time) == 51
    np.testing.assert_allclose(out.time[[0, -1]], [1, 1e5], rtol=1e-12)
    np.testing.assert_allclose(out.values, 1 / (1 + 2j * np.pi * out.time * RC), rtol=1e-9)


def test_sweep_has_the_swept_voltage_as_its_time(simulate):
    (run,) = kvr.open(simulate("dc V1 -1 1 0.5", "write out.raw")).runs
    out = run["v(out)"]
    assert out.time.tolist() == [-1, -0.5, 0, 0.5, 1]
    assert out.time_source == "v(v-sweep)"
    np.testing.assert_allclose(out.values, out.time, rtol=1e-6)


@pytest.mark.parametrize("filetype", ["ascii", "binary"])
def test_every_plot_is_a_run_of_its_own_name(simulate, filetype):
    path = simulate(
        f"set filetype={filetype}", "tran 1m 3m", "op", "noise v(out) V1 dec 2 1 100", "tran 1m 2m",
        "write out.raw tran1.all op1.all noise1.all noise2.all tran2.all",
    )  # fmt: skip
    runs = kvr.open(path).runs
    assert [run.name for run in runs] == [
        "Transient Analysis", "Operating Point", "Noise Spectral Density Curves",
        "Integrated Noise", "Transient Analysis (2)",
    ]  # fmt: skip
    assert [run["v(out)"].time[-1] for run in (runs[0], runs[4])] == [3e-3, 2e-3]
    assert runs[2]["onoise_spectrum"].unit == "V/√Hz"


def test_operating_point_is_one_sample_of_every_variable_at_time_zero(simulate):
    (run,) = kvr.open(
        simulate("alter V1 = 4", "alter @v1[pulse] = [ 4 4 1 1 1 1 1 ]", "op", "write out.raw")
    ).runs
    assert {s.label for s in run} == {"v(in)", "v(out)", "i(v1)"}
    assert run["v(out)"].time.tolist() == [0]
    assert run["v(out)"].time_source == ""
    np.testing.assert_allclose(run["v(out)"].values, [4], rtol=1e-9)
    assert sorted(s.id for s in run) == [1, 2, 3]


@pytest.mark.parametrize("filetype", ["ascii", "binary"])
@pytest.mark.parametrize("padding", ["unset nopadding", "set nopadding"])
def test_shorter_variables_have_the_first_times(simulate, filetype, padding):
    path = simulate(
        f"set filetype={filetype}", padding, "tran 0.5m 2m", "let three = vector(3)",
        "let six = vector(6)", "reshape six [2][3]", "write out.raw time three v(out) six",
    )  # fmt: skip
    flags = path.read_bytes().split(b"Flags: ")[1].split(b"\n")[0]
    assert (b"unpadded" in flags) == (padding == "set nopadding")
    (run,) = kvr.open(path).runs
    out = run["v(out)"]
    assert out.time[-1] == 2e-3
    assert run["three"].values.tolist() == [0, 1, 2]
    assert run["six"].values.tolist() == [0, 1, 2, 3, 4, 5]
    assert run["six"].time.tolist() == out.time[:6].tolist()
    assert run["three"].unit is None


def test_plots_are_added_to_a_file(simulate):
    path = simulate(
        "ac dec 2 1 100", "write out.raw", "set appendwrite", "set filetype=ascii", "tran 1m 2m",
        "write out.raw",
    )  # fmt: skip
    runs = kvr.open(path).runs
    assert [run.name for run in runs] == ["AC Analysis", "Transient Analysis"]
    assert runs[0]["v(out)"].values.dtype == np.complex128
    assert runs[1]["v(out)"].time[-1] == 2e-3


def test_plots_go_into_the_store_and_are_compared(step, simulate, store):
    (run,) = store.load(step)
    assert run["v(out)"].unit == "V"
    coarse = simulate("tran 100u 6m", "write out.raw")
    assert not kvr.compare(run, coarse).passed
    tolerance = kvr.Tolerance(absolute=0.05)
    linear = kvr.Sync(interp="linear")
    comparison = kvr.compare(run, coarse, only="v(out)", tolerance=tolerance, sync=linear)
    assert comparison.passed, str(comparison)
    assert store.load(simulate("ac dec 2 1 100", "write out.raw"))[0]["v(in)"].values.size == 5


# ---- What is wrong with a file ----


HEADER = (
    b"Title: x\nDate: Sun Nov 22 01:21:53  2026\nPlotname: P\nFlags: real\nNo. Variables: 2\n"
    b"No. Points: 3\nVariables:\n\t0\ttime\ttime\n\t1\tv\tvoltage\n"
)
TEXT = HEADER + b"Values:\n0\t0\n\t1\n\n1\t1\n\t2\n\n2\t2\n\t4\n\n"
BINARY = HEADER + b"Binary:\n" + struct.pack("<6d", 0, 1, 1, 2, 2, 4)


def everything(path):
    """The values of all signals."""
    with kvr.open(path) as recording:
        return [
            (run.name, s.label, s.time.tolist(), s.values.tolist())
            for run in recording
            for s in run
        ]


def refusal(path, content):
    path.write_bytes(content)
    with pytest.raises(kvr.FormatError) as caught:
        everything(path)
    error = caught.value
    return f"{error.where}: {error.what}" if error.where else error.what


@pytest.fixture
def path(tmp_path):
    return tmp_path / "x.raw"


@pytest.mark.parametrize("content", [TEXT, BINARY, TEXT + BINARY, BINARY + b"\n" + TEXT])
def test_small_files(path, content):
    path.write_bytes(content)
    names = ["P", "P (2)"][: content.count(b"Title")]
    assert everything(path) == [(name, "v", [0, 1, 2], [1, 2, 4]) for name in names]


def test_title_names_a_plot_without_a_name(path):
    path.write_bytes(TEXT.replace(b"Plotname: P\n", b""))
    assert everything(path)[0][0] == "x"
    path.write_bytes(TEXT.replace(b"Plotname: P", b"Plotname: P (2)") + TEXT + TEXT)
    assert [run.name for run in kvr.open(path)] == ["P (2)", "P", "P (3)"]


def test_first_variable_may_stand_behind_the_heading(path):
    path.write_bytes(TEXT.replace(b"Variables:\n\t0", b"Variables:\t0"))
    assert everything(path)[0][2] == [0, 1, 2]


def test_date_that_is_none_gives_the_time_of_the_file(path):
    path.write_bytes(TEXT.replace(b"Sun Nov 22", b"Someday"))
    now = datetime.datetime.now(datetime.timezone.utc)
    assert abs(kvr.open(path).runs[0].created - now) < datetime.timedelta(minutes=10)
    path.write_bytes(TEXT)
    local = kvr.open(path).runs[0].created.astimezone()
    assert local.replace(tzinfo=None) == datetime.datetime(2026, 11, 22, 1, 21, 53)


@pytest.mark.parametrize(
    ("content", "text"),
    [
        (b"", "is empty"),
        (b"\n\n", "holds no plot"),
        (b"time,a\n0,1\n", "is no raw file of ngspice: it does not begin with 'Title:'"),
        (HEADER, f"byte {len(HEADER) + 1}: the header does not end; the file is cut off"),
        (HEADER[:-8], "line 9: variable 1 is not a number, a name and a type: '1\\tv'"),
        (HEADER[: HEADER.index(b"\t1")], f"byte {HEADER.index(b'	1') + 1}: the file ends after 1 of 2 variables"),
        (b"Title: x\nnonsense\n", "line 2: 'nonsense' is not a heading"),
        (b"Title: x\nValues:\n", "line 1: the header has no 'Variables:'"),
        (b"Title: x\nVariables:\n", "byte 21: the header has no 'No. Variables:'"),
        (TEXT.replace(b"Points: 3", b"Points: many"), "line 8: 'No. Points' is no number: 'many'"),
        (TEXT.replace(b"Points: 3", b"Points: " + b"9" * 5000), f"line 8: 'No. Points' is no number: '{'9' * 39}…'"),
        (TEXT.replace(b"Variables: 2", b"Variables: 0"), "line 8: '0\\ttime\\ttime' is not a heading"),
        (TEXT.replace(b"voltage", b"voltage dims=x"), "line 9: the dimensions 'dims=x' are no numbers"),
        (TEXT.replace(b"voltage", b"voltage dims=2,2"), "line 9: 'v' has 4 points, its plot 3"),
        (TEXT.replace(b"time\ttime", b"time\ttime dims=2"), "'v' has 3 points, the first variable of 'P', 'time', has 2: write the time first"),
        (BINARY[:-1], f"byte {len(BINARY)}: the file ends after 5 of the 6 values of 'P': 'No. Points' is wrong or the file is cut off"),
        (BINARY.replace(b"Points: 3", b"Points: 2"), f"byte {len(BINARY) - 15}: no plot begins here, though the one before ends; 'No. Points' of a simulation that was stopped says too little: run it to its end"),
        (BINARY + BINARY[:-8], f"byte {2 * len(BINARY) - 7}: the file ends after 5 of the 6 values of 'P': 'No. Points' is wrong or the file is cut off"),
        (TEXT.replace(b"\t2\n\n", b"\toops\n\n"), "line 15: 'oops' is not a number"),
        (TEXT.replace(b"\n1\t1", b"\n7\t1"), "line 14: '7' is not the number 1 of the point"),
        (TEXT.replace(b"Points: 3", b"Points: 4"), "line 20: the values end in point 3 of 4: 'No. Points' is wrong or the file is cut off"),
        (TEXT.replace(b"Points: 3", b"Points: 2"), "line 17: a value more than the 2 points of the header"),
        (TEXT[:-4], "line 18: the values end in point 3 of 3: 'No. Points' is wrong or the file is cut off"),
        (TEXT.replace(b"real", b"complex"), "line 11: '0' is not two numbers with a comma between"),
    ],
)  # fmt: skip
def test_bad_file_is_told_with_its_place(path, content, text):
    assert refusal(path, content) == text


def test_closed_recording_reads_no_more(path):
    path.write_bytes(BINARY)
    with kvr.open(path) as recording:
        signal = recording.runs[0]["v"]
    recording.close()
    with pytest.raises(ValueError, match="is closed"):
        _ = signal.values


def test_file_that_is_cut_while_it_is_open_is_told(path):
    path.write_bytes(BINARY)
    with kvr.open(path) as recording:
        with open(path, "r+b") as file:
            file.truncate(10)
        with pytest.raises(kvr.FormatError, match="was cut while it was open"):
            _ = recording.runs[0]["v"].values


def test_numbers_that_are_none_are_read(path):
    path.write_bytes(TEXT.replace(b"\t2\n\n", b"\t-nan\n\n").replace(b"\t4\n", b"\t-inf\n"))
    np.testing.assert_array_equal(everything(path)[0][3], [1, np.nan, -np.inf])


@hypothesis.settings(deadline=None, max_examples=200,
                     suppress_health_check=[hypothesis.HealthCheck.function_scoped_fixture])  # fmt: skip
@hypothesis.given(
    st.sampled_from([TEXT, BINARY, TEXT + BINARY, TEXT.replace(b"real", b"real unpadded")]),
    st.lists(st.tuples(st.integers(0, 600), st.binary(max_size=4)), max_size=3),
    st.integers(0, 600),
)
def test_any_file_gives_a_result_or_one_error(path, content, changes, cut):
    for at, new in changes:
        content = content[:at] + new + content[at + len(new) :]
    path.write_bytes(content[: max(cut, 1)])
    try:
        for _, _, time, values in everything(path):
            assert len(time) == len(values)
    except kvr.FormatError as error:
        assert "\n" not in str(error)


def test_file_of_a_simulation_that_was_stopped_is_told(tmp_path):
    """ngspice fills in the number of points at the end."""
    (tmp_path / "a.cir").write_text(
        "no way out\nV1 in 0 PULSE(0 5 1u 1n 1n 4u 10u)\nS1 in out in 0 s\nC1 out 0 1p IC=0\n"
        "L1 out 0 1u IC=0\nD1 0 out d\n.model s SW(Vt=2.5 Vh=-0.5 Ron=1u Roff=1G)\n"
        ".model d D(Is=1n Rs=1u)\n.options reltol=1e-9 itl4=3\n.tran 1n 100u UIC\n.end\n"
    )
    done = subprocess.run(
        ["ngspice", "-b", "-r", "a.raw", "a.cir"], cwd=tmp_path, capture_output=True, text=True,
        env=UNSANITIZED,
    )  # fmt: skip
    assert "imestep too small" in done.stdout + done.stderr
    with pytest.raises(kvr.FormatError, match="of a simulation that was stopped says too little"):
        kvr.open(tmp_path / "a.raw")
