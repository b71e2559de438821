// Learns limits of a spectrum from good parts and judges two more, from C# through the C interface.
//
//   mcs Limits.cs && LD_LIBRARY_PATH=... mono Limits.exe [PARTS.f32 POINTS]
//
// With a file of floats, one part of so many points after the other, it learns those with factor 3
// and writes the state, as hexadecimal digits.
using System;
using System.IO;
using System.Runtime.InteropServices;
using System.Text;

enum Status { Ok = 0, Buffer = 8 }
enum Kind { Value = 1, Curve = 2, Track = 3 }
enum Side { Upper = 0, Lower = 1, Both = 2 }
enum Outcome { Pass = 0, Fail = 1, NotJudged = 2 }

[StructLayout(LayoutKind.Sequential)]
struct Rule {
  public UIntPtr Size;
  public int Sides, TimeScale;
  public double Base, Reject, Factor;
  public int MinParts, Precise;
}

[StructLayout(LayoutKind.Sequential)]
struct Curve {
  public UIntPtr Size;
  public IntPtr Floats, Doubles;
  public UIntPtr Count;
  public double X0, Dx;
  public IntPtr XUnit, Unit, Covered;
  public double Reference;
}

[StructLayout(LayoutKind.Sequential)]
struct Judgement {
  public UIntPtr Size;
  public int Outcome, Reason;
  public double Share, XFirst, XLast, Excess, X, Value, Limit, Mean, Spread, InSpreads, XInSpreads;
}

static class Native {
  const string Library = "liblimes_c.so.1";  // limes_c.dll on Windows
  [DllImport(Library)] public static extern void limes_rule_init(ref Rule rule);
  [DllImport(Library)] public static extern Status limes_new(Kind kind, ref Rule rule, out IntPtr limit);
  [DllImport(Library)] public static extern void limes_free(IntPtr limit);
  [DllImport(Library)] public static extern IntPtr limes_error(IntPtr limit);
  [DllImport(Library)] public static extern long limes_learnt(IntPtr limit);
  [DllImport(Library)] public static extern Status limes_learn_curve(IntPtr limit, ref Curve part);
  [DllImport(Library)]
  public static extern Status limes_judge_curve(IntPtr limit, ref Curve part, out Outcome outcome);
  [DllImport(Library)]
  public static extern Status limes_judgement_of(IntPtr limit, Side side, ref Judgement judgement);
  [DllImport(Library)]
  public static extern Status limes_write(IntPtr limit, byte[] bytes, ref UIntPtr size);
  [DllImport(Library)]
  public static extern Status limes_read(byte[] bytes, UIntPtr size, out IntPtr limit);
}

/// A limit of one curve; freed when it is disposed of.
sealed class Limit : IDisposable {
  IntPtr handle;
  readonly IntPtr xUnit = Text("Hz"), unit = Text("dB");

  public Limit(double reject, double factor) {
    var rule = new Rule();
    Native.limes_rule_init(ref rule);
    rule.Reject = reject;
    rule.Factor = factor;
    Check(Native.limes_new(Kind.Curve, ref rule, out handle));
  }

  public Limit(byte[] state) {
    Check(Native.limes_read(state, (UIntPtr)state.Length, out handle));
  }

  public void Dispose() {
    Native.limes_free(handle);
    Marshal.FreeHGlobal(xUnit);
    Marshal.FreeHGlobal(unit);
    handle = IntPtr.Zero;
  }

  public long Learnt { get { return Native.limes_learnt(handle); } }

  public void Learn(float[] values) {
    WithPart(values, (ref Curve part) => Check(Native.limes_learn_curve(handle, ref part)));
  }

  public Outcome Judge(float[] values, out Judgement upper) {
    var outcome = Outcome.NotJudged;
    WithPart(values,
             (ref Curve part) => Check(Native.limes_judge_curve(handle, ref part, out outcome)));
    upper = new Judgement { Size = (UIntPtr)Marshal.SizeOf(typeof(Judgement)) };
    Check(Native.limes_judgement_of(handle, Side.Upper, ref upper));
    return outcome;
  }

  public byte[] State() {
    var size = UIntPtr.Zero;
    if (Native.limes_write(handle, null, ref size) != Status.Buffer) {
      throw new InvalidOperationException("a state has no bytes");
    }
    var bytes = new byte[(int)size];
    Check(Native.limes_write(handle, bytes, ref size));
    return bytes;
  }

  delegate void Use(ref Curve part);

  // The values must not move while the library reads them.
  void WithPart(float[] values, Use use) {
    var pinned = GCHandle.Alloc(values, GCHandleType.Pinned);
    try {
      var part = new Curve { Size = (UIntPtr)Marshal.SizeOf(typeof(Curve)),
                             Floats = pinned.AddrOfPinnedObject(), Count = (UIntPtr)values.Length,
                             Dx = 10.0, XUnit = xUnit, Unit = unit };
      use(ref part);
    } finally {
      pinned.Free();
    }
  }

  void Check(Status status) {
    if (status != Status.Ok) {
      string why = handle == IntPtr.Zero ? "" : Marshal.PtrToStringAnsi(Native.limes_error(handle));
      throw new InvalidOperationException(status + ": " + why);
    }
  }

  static IntPtr Text(string text) {
    return Marshal.StringToHGlobalAnsi(text);  // zero-terminated
  }
}

static class Program {
  /// A simulated spectrum, the same on every machine.
  static float[] Measured(uint part) {
    uint state = part * 2654435761U + 1U;
    var values = new float[200];
    for (int i = 0; i < values.Length; ++i) {
      values[i] = 60.0F;
      for (int j = 0; j < 3; ++j) {
        state = state * 1664525U + 1013904223U;
        values[i] += (state >> 8) / 8388608.0F - 1.0F;
      }
    }
    return values;
  }

  static int LearnFile(string path, int points) {
    var bytes = File.ReadAllBytes(path);
    using (var limit = new Limit(0.01, 3.0)) {
      for (int at = 0; at < bytes.Length; at += 4 * points) {
        var part = new float[points];
        Buffer.BlockCopy(bytes, at, part, 0, 4 * points);
        limit.Learn(part);
      }
      var text = new StringBuilder();
      foreach (byte b in limit.State()) {
        text.Append(b.ToString("x2"));
      }
      Console.WriteLine(text);
    }
    return 0;
  }

  static int Main(string[] arguments) {
    if (arguments.Length == 2) {
      return LearnFile(arguments[0], int.Parse(arguments[1]));
    }
    using (var limit = new Limit(0.05, double.NaN)) {
      for (uint part = 0; part < 60; ++part) {
        limit.Learn(Measured(part));
      }
      using (var again = new Limit(limit.State())) {
        Judgement upper;
        var good = again.Judge(Measured(1000), out upper);
        var values = Measured(1000);
        values[120] += 12.0F;
        var bad = again.Judge(values, out upper);
        Console.WriteLine("{0} parts learnt; good: {1}, bad: {2}, {3:F2} dB beyond the limit at {4:F0} Hz",
                          again.Learnt, good, bad, upper.Excess, upper.X);
        return good == Outcome.Pass && bad == Outcome.Fail ? 0 : 1;
      }
    }
  }
}
