@echo off
setlocal
rem Installs the tools and the framework beside this file: see docs\deployment.md, also for the exit codes.

rem Yours to change; in OPTIONS, a quote is written \".
set ROOT=C:\ZQClient
set TOOLS=7.3
set FRAMEWORK=5.15.2
set VERSION=@PROJECT_VERSION@
set SERVICE=zqFeedSinkService
set ACCOUNT=obj= "NT AUTHORITY\LocalService" password= ""
set OPTIONS=-t zqFeedSink

set KEY=HKLM\SOFTWARE\Larkstone\zqLauncher
set REGISTRATION=start= auto %ACCOUNT% binPath= "\"%ROOT%\tools\current\zqLauncher\zqLauncher.exe\" %OPTIONS%"
rem Programs come from here, not from the folder that this file was started in.
set "PACKAGE=%~dp0"
cd /d "%SystemRoot%\System32"

rem A value of this key says that the script made the root. Only administrators can write there.
if exist %ROOT% goto known
mkdir %ROOT%
if errorlevel 1 exit /b 10
icacls %ROOT% /inheritance:r /grant *S-1-5-32-544:(OI)(CI)F *S-1-5-18:(OI)(CI)F *S-1-5-32-545:(OI)(CI)RX >nul
if errorlevel 1 exit /b 10
dir /a /b %ROOT% 2>nul | find /v "" >nul
if not errorlevel 1 exit /b 10
reg add %KEY% /v %ROOT% /f /reg:64 >nul
:known
reg query %KEY% /v %ROOT% /reg:64 >nul 2>&1
if errorlevel 1 exit /b 11

call :copy tools %TOOLS%
if errorlevel 1 exit /b %errorlevel%
call :copy frameworks %FRAMEWORK%
if errorlevel 1 exit /b %errorlevel%
%ROOT%\tools\%TOOLS%\zqLauncher\zqLauncher.exe -c | find "%VERSION%" >nul
if errorlevel 1 exit /b 14
call :link tools %TOOLS%
if errorlevel 1 exit /b %errorlevel%
call :link frameworks %FRAMEWORK%
if errorlevel 1 exit /b %errorlevel%

sc.exe create %SERVICE% %REGISTRATION% >nul
if errorlevel 1 sc.exe config %SERVICE% %REGISTRATION% >nul
if errorlevel 1 exit /b 15
call :stop
sc.exe start %SERVICE% >nul
ping -n 4 127.0.0.1 >nul
sc.exe query %SERVICE% | find "RUNNING" >nul
if errorlevel 1 exit /b 15
exit /b 0

rem The launcher gives no wait hint, so net stop might come back too early.
:stop
sc.exe stop %SERVICE% >nul
:stopping
ping -n 2 127.0.0.1 >nul
sc.exe query %SERVICE% | find "STOP_PENDING" >nul
if not errorlevel 1 goto stopping
exit /b 0

rem Under a name that no listing shows at first, so that a version folder is complete or not there.
:copy
if exist %ROOT%\%1\%2 exit /b 0
if exist %ROOT%\%1\.new rmdir /s /q %ROOT%\%1\.new
xcopy /e /i /q /y "%PACKAGE%%1" %ROOT%\%1\.new >nul
if errorlevel 1 exit /b 12
move %ROOT%\%1\.new %ROOT%\%1\%2 >nul
if not exist %ROOT%\%1\%2 exit /b 12
rem With this bit, a listing would not show the folder.
attrib -a %ROOT%\%1\%2
exit /b 0

:link
if exist %ROOT%\%1\current rmdir %ROOT%\%1\current
if exist %ROOT%\%1\current exit /b 13
mklink /J %ROOT%\%1\current %ROOT%\%1\%2 >nul
if not exist %ROOT%\%1\current exit /b 13
exit /b 0
