@echo off
setlocal
rem Removes what install.cmd has installed, and no root that it hasn't made: see docs\deployment.md.

rem As in install.cmd:
set ROOT=C:\ZQClient
set SERVICE=zqFeedSinkService

set KEY=HKLM\SOFTWARE\Larkstone\zqLauncher
cd /d "%SystemRoot%\System32"
reg query %KEY% /v %ROOT% /reg:64 >nul 2>&1
if errorlevel 1 exit /b 11

sc.exe stop %SERVICE% >nul
:stopping
ping -n 2 127.0.0.1 >nul
sc.exe query %SERVICE% | find "STOP_PENDING" >nul
if not errorlevel 1 goto stopping
sc.exe delete %SERVICE% >nul
rem The launcher's process ends a moment after its last report, and its tool with it.
ping -n 2 127.0.0.1 >nul
rem The links first: a command that removes the tree could follow one. Add those of addons.
if exist %ROOT%\tools\current rmdir %ROOT%\tools\current
if exist %ROOT%\frameworks\current rmdir %ROOT%\frameworks\current
if exist %ROOT% rmdir /s /q %ROOT%
if exist %ROOT% exit /b 10
reg delete %KEY% /v %ROOT% /f /reg:64 >nul
exit /b 0
