@echo off
setlocal
rem Removes what install.cmd has installed: see docs\deployment.md.

rem As in install.cmd:
set ROOT=C:\ZQClient
set SERVICE=zqFeedSinkService

sc.exe stop %SERVICE% >nul
:stopping
ping -n 2 127.0.0.1 >nul
sc.exe query %SERVICE% | find "STOP_PENDING" >nul
if not errorlevel 1 goto stopping
sc.exe delete %SERVICE% >nul
reg delete HKLM\SOFTWARE\Larkstone\zqLauncher /f >nul 2>&1
rem The links first: a command that removes the tree could follow one. Add those of addons.
if exist %ROOT%\tools\current rmdir %ROOT%\tools\current
if exist %ROOT%\frameworks\current rmdir %ROOT%\frameworks\current
if exist %ROOT% rmdir /s /q %ROOT%
if exist %ROOT% exit /b 10
exit /b 0
