// Zel from C#: the declarations that a host needs, and a picture through one function and through a chain.
//
//   mcs Host.cs && MONO_PATH=. LD_LIBRARY_PATH=<folder of the libraries> mono Host.exe      (Linux)
//   csc Host.cs, zel.dll and zel_chain.dll beside Host.exe                                  (Windows)
using System;
using System.Runtime.InteropServices;
using System.Text;

static class Zel {
  [StructLayout(LayoutKind.Sequential)]
  public struct ImageDesc {
    public int Width, Height;
    public uint Format;
    public int Stride;  // samples, not bytes
    public IntPtr Data;
  }

  [StructLayout(LayoutKind.Sequential)]
  public struct Rect {
    public int Left, Top, Right, Bottom;
  }

  [StructLayout(LayoutKind.Sequential)]
  public struct Pixels {
    public IntPtr Data, RowBytes;  // 0: rows without a gap
    public int Width, Height, Channels, Bits, BlueFirst;
  }

  [StructLayout(LayoutKind.Sequential)]
  public struct Report {
    public int Code, Step, Position, Call, Changed, Grey;
    [MarshalAs(UnmanagedType.ByValArray, SizeConst = 512)] public byte[] Text;
    [MarshalAs(UnmanagedType.ByValArray, SizeConst = 1024)] public byte[] Notes;

    public static string Read(byte[] text) {
      return Encoding.UTF8.GetString(text, 0, Array.IndexOf(text, (byte)0));
    }
  }

  [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
  public delegate int Progress(IntPtr user, double done);

  [StructLayout(LayoutKind.Sequential)]
  public struct ApplyOptions {
    public uint Size;
    public int Orientation, WholeWidth, WholeHeight, Left, Top;
    public Progress Callback;
    public IntPtr User;
  }

  public const uint FormatBgr24 = 0x01000831;

  [DllImport("zel", CallingConvention = CallingConvention.Cdecl)]
  public static extern int ZelBasicToolFunc_ContrastBrightness(ref ImageDesc source, ref ImageDesc destination,
                                                               int contrast, int brightness, IntPtr rect);

  [DllImport("zel_chain", CallingConvention = CallingConvention.Cdecl)]
  public static extern IntPtr ZelChain_Table();

  [DllImport("zel_chain", CallingConvention = CallingConvention.Cdecl)]
  public static extern IntPtr ZelChain_ParseLine(byte[] text, UIntPtr bytes, ref Report report);

  [DllImport("zel_chain", CallingConvention = CallingConvention.Cdecl)]
  public static extern int ZelChain_Apply(IntPtr chain, ref Pixels source, ref Pixels destination,
                                          ref ApplyOptions options, ref Report report);

  [DllImport("zel_chain", CallingConvention = CallingConvention.Cdecl)]
  public static extern void ZelChain_Free(IntPtr chain);

  // Pointers are 4 or 8 bytes; everything else stands where C puts it.
  public static void CheckLayout() {
    int p = IntPtr.Size;
    Same(Marshal.SizeOf(typeof(ImageDesc)), 16 + p, "ImageDesc");
    Same((int)Marshal.OffsetOf(typeof(Pixels), "Width"), 2 * p, "Pixels.Width");
    Same(Marshal.SizeOf(typeof(Pixels)), p == 8 ? 40 : 28, "Pixels");
    Same((int)Marshal.OffsetOf(typeof(Report), "Notes"), 536, "Report.Notes");
    Same(Marshal.SizeOf(typeof(Report)), 1560, "Report");
    Same((int)Marshal.OffsetOf(typeof(ApplyOptions), "Callback"), 24, "ApplyOptions.Callback");
    Same(Marshal.SizeOf(typeof(ApplyOptions)), 24 + 2 * p, "ApplyOptions");
  }

  static void Same(int actual, int expected, string what) {
    if (actual != expected) throw new Exception(what + " is at or has " + actual + " bytes, not " + expected);
  }
}

static class Host {
  static int Main() {
    Zel.CheckLayout();
    byte[] one = {40, 60, 80, 90, 110, 130, 140, 160, 180, 190, 210, 230};
    byte[] two = (byte[])one.Clone();

    GCHandle handle = GCHandle.Alloc(one, GCHandleType.Pinned);
    var image = new Zel.ImageDesc {Width = 4, Height = 1, Format = Zel.FormatBgr24, Stride = 12,
                                   Data = handle.AddrOfPinnedObject()};
    int code = Zel.ZelBasicToolFunc_ContrastBrightness(ref image, ref image, 30, 5, IntPtr.Zero);
    handle.Free();
    Console.WriteLine("function: result {0}, first pixel {1} {2} {3}", code, one[0], one[1], one[2]);

    var report = new Zel.Report();
    byte[] wrong = Encoding.UTF8.GetBytes("contrst contrast=30");
    if (Zel.ZelChain_ParseLine(wrong, (UIntPtr)wrong.Length, ref report) == IntPtr.Zero) {
      Console.WriteLine(Zel.Report.Read(report.Text));
    }
    byte[] words = Encoding.UTF8.GetBytes("contrast contrast=30 brightness=5");
    IntPtr chain = Zel.ZelChain_ParseLine(words, (UIntPtr)words.Length, ref report);
    handle = GCHandle.Alloc(two, GCHandleType.Pinned);
    var pixels = new Zel.Pixels {Data = handle.AddrOfPinnedObject(), Width = 4, Height = 1, Channels = 3, Bits = 8,
                                 BlueFirst = 1};
    double reached = -1;
    var options = new Zel.ApplyOptions {
      Size = (uint)Marshal.SizeOf(typeof(Zel.ApplyOptions)), Callback = (user, done) => {
        reached = done;
        return 0;
      }};
    code = Zel.ZelChain_Apply(chain, ref pixels, ref pixels, ref options, ref report);
    handle.Free();
    Zel.ZelChain_Free(chain);
    Console.WriteLine("chain: result {0}, first pixel {1} {2} {3}, done {4}", code, two[0], two[1], two[2], reached);
    Console.WriteLine("table: {0} characters", Marshal.PtrToStringAnsi(Zel.ZelChain_Table()).Length);
    return 0;
  }
}
