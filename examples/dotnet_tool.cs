// A tool in C# that ends in order when the launcher asks it to. It needs nothing newer than C# 7
// and .NET Core 2; in a project of any SDK it is the one source.
using System;
using System.Diagnostics;
using System.IO;
using System.IO.Pipes;
using System.Security.Principal;
using System.Threading;

static class DotnetTool
{
    // Calls back once, when this process is to end; never, if there is no launcher. A server that
    // has made a pipe of this name can't act as this user: anonymous.
    static void ListenForStop(Action onStop)
    {
        var pipe = new NamedPipeClientStream(
            ".", "zqLauncher_" + Process.GetCurrentProcess().Id, PipeDirection.In,
            PipeOptions.None, TokenImpersonationLevel.Anonymous);
        try { pipe.Connect(0); }
        catch (Exception) { return; } // no launcher
        new Thread(() =>
        {
            try { pipe.Read(new byte[7], 0, 7); }
            catch (IOException) { } // the request too, as is the word
            onStop();
        }) { IsBackground = true }.Start();
    }

    static int Main(string[] arguments)
    {
        var stop = new ManualResetEvent(false);
        ListenForStop(() => stop.Set());
        Console.WriteLine("working");
        // "dotnet_tool 500" works for 500 ms and ends with 6.
        var milliseconds = arguments.Length > 0 ? int.Parse(arguments[0]) : Timeout.Infinite;
        if (!stop.WaitOne(milliseconds)) return 6;
        Console.WriteLine("asked to end, all is saved");
        return 0; // the service reports a tool's exit code as its own
    }
}
