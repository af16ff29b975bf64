; SPDX-License-Identifier: Apache-2.0
; The installer: bivista-VERSION-win64-setup.exe. Made by packaging/windows/build, which gives these on the command line:
;   VERSION   "1.2.3"
;   STAGE     the folder of the portable archive
;   ICON      the application's icon
;   OUTPUT    the file to make
;   FILES     a list of what the uninstaller removes
;   PICTURES  the folder of the installer's own pictures
;   GENICAM   defined where lib/genicam is in STAGE
;
; Which cameras the program is for is asked for, or given by /CAMERAS=simulated, /CAMERAS=genicam or /CAMERAS=maker: that
; library lies beside the program as KVCap2.dll, and the maker's is one that the user puts there. Where nothing is said, it
; is what it was before; at first: simulated.
;
; A shortcut on the desktop and the start with Windows, which is a shortcut in the folder for that, are asked for on a page,
; or given by /DESKTOP, /AUTOSTART (=1 the same, =0 not). Where nothing is said, they are what they were before; at first: not.
;
; A program that runs from the folder in question is closed as its operator would close it, when the user agrees or /CLOSE
; says so; nothing is ended by force. What /CLOSE has closed and what starts with Windows is started again at the end.
;
; Results: 0, 1 cancelled and 2 aborted (NSIS's own), 3 the program runs, 4 something could not be written, 5 the folder has
; other things in it, 6 an option that is not understood.
;
; For one user or for all of them, asked for at the start or given by /CurrentUser or /AllUsers (with /S: no window). The
; program is put where programs are; what it reads and writes is in a working folder that its users may write to, and
; that neither a newer version nor the uninstaller empties:
;
;                one user                        all users
;   program      %LOCALAPPDATA%\Programs\Bivista %ProgramFiles%\Bivista
;   working      %USERPROFILE%\Bivista           %ProgramData%\Bivista
;
; (Documents may be another PC's or the cloud's, and Windows guards it against programs that it does not know.)

; Before everything else. The stub of the 32-bit kind cannot do anything where only 64-bit programs run.
Target amd64-unicode
SetCompressor /SOLID lzma
ManifestDPIAware true
ManifestSupportedOS all

!define NAME "Bivista"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${NAME}"
!define OWN_KEY "Software\${NAME}"
!define PUBLISHER "The Bivista team"
; How long a program may take to end, s. It writes pictures first that were taken.
!define CLOSE_LIMIT 60

!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MUI
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_USE_PROGRAMFILES64
!define MULTIUSER_INSTALLMODE_INSTDIR "${NAME}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${OWN_KEY}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME "Folder"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${OWN_KEY}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME "Folder"
!define MULTIUSER_INSTALLMODE_FUNCTION onInstallMode
!define MULTIUSER_INSTALLMODE_UNFUNCTION un.onInstallMode
!include MultiUser.nsh
!include MUI2.nsh
!include FileFunc.nsh
!include LogicLib.nsh
!include nsDialogs.nsh
!include x64.nsh

Name "${NAME} ${VERSION}"
; With a last part that is the program's, a folder that is chosen gets it too: nobody's own files are mixed with ours.
InstallDir "$PROGRAMFILES64\${NAME}"
OutFile "${OUTPUT}"
BrandingText " "
VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "${NAME}"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey FileDescription "${NAME} ${VERSION} setup"
VIAddVersionKey CompanyName "${PUBLISHER}"
VIAddVersionKey LegalCopyright "2026 ${PUBLISHER}"

Var WorkingFolder
Var GivenFolder ; by /D
Var LibraryNote
Var Cameras       ; "simulated", "genicam" or "maker"
Var ChosenCameras ; the same, by /CAMERAS or on the page; empty: nobody said anything
Var OldCameras    ; what lies there
Var SimulatedButton
!ifdef GENICAM
Var GenicamButton
!endif
Var MakersButton
Var OnDesktop       ; a shortcut there: 1 or 0
Var WithWindows     ; with Windows: 1 or 0
Var ChosenDesktop   ; the same, by /DESKTOP or on the page; empty: nobody said anything
Var ChosenAutostart
Var DesktopButton
Var AutostartButton
Var MayClose        ; by /CLOSE: 1
Var HasClosed       ; a program that ran: 1

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_WELCOMEFINISHPAGE_BITMAP "${PICTURES}\setup-side-100.bmp"
!define MUI_HEADERIMAGE
!define MUI_HEADERIMAGE_RIGHT
!define MUI_HEADERIMAGE_BITMAP "${PICTURES}\setup-header-100.bmp"
!define MUI_HEADERIMAGE_UNBITMAP "${PICTURES}\setup-header-100.bmp"
!define MUI_CUSTOMFUNCTION_GUIINIT takePicturesOfScreen
!define MUI_CUSTOMFUNCTION_UNGUIINIT un.takePicturesOfScreen
!define MUI_ABORTWARNING
!define MUI_FINISHPAGE_TEXT "$(workingFolderText)$\r$\n$\r$\n$LibraryNote"
!define MUI_FINISHPAGE_RUN
!define MUI_FINISHPAGE_RUN_FUNCTION startProgram
!define MUI_FINISHPAGE_SHOWREADME "$INSTDIR\README.txt"
!define MUI_FINISHPAGE_SHOWREADME_NOTCHECKED
!define MUI_UNCONFIRMPAGE_TEXT_TOP "$(uninstallText)"
!insertmacro MULTIUSER_PAGE_INSTALLMODE
!define MUI_PAGE_CUSTOMFUNCTION_LEAVE leaveDirectory
!insertmacro MUI_PAGE_DIRECTORY
Page custom showCameras leaveCameras
Page custom showStart leaveStart
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English
!insertmacro MUI_LANGUAGE SimpChinese

!include "installer-texts.nsh"
!include "installer-closing.nsh"

; The pictures of the screen's scale, or of the next smaller one: Windows makes them larger well, and badly smaller.
!macro takePictures PERCENT
    File "/oname=$PLUGINSDIR\modern-header.bmp" "${PICTURES}\setup-header-${PERCENT}.bmp"
    File "/oname=$PLUGINSDIR\modern-wizard.bmp" "${PICTURES}\setup-side-${PERCENT}.bmp"
    SetBrandingImage /IMGID=1046 /RESIZETOFIT "$PLUGINSDIR\modern-header.bmp"
!macroend
!macro declareTakePictures UN
Function ${UN}takePicturesOfScreen
    System::Call 'user32::GetDC(p 0) p .r0'
    ; LOGPIXELSX
    System::Call 'gdi32::GetDeviceCaps(p r0, i 88) i .r1'
    System::Call 'user32::ReleaseDC(p 0, p r0) i'
    ${If} $1 >= 192
        !insertmacro takePictures 200
    ${ElseIf} $1 >= 144
        !insertmacro takePictures 150
    ${EndIf}
FunctionEnd
!macroend
!insertmacro declareTakePictures ""
!insertmacro declareTakePictures "un."

!macro findWorkingFolder
    ${If} $MultiUser.InstallMode == "AllUsers"
        SetShellVarContext all
        StrCpy $WorkingFolder "$APPDATA\${NAME}"
    ${Else}
        SetShellVarContext current
        StrCpy $WorkingFolder "$PROFILE\${NAME}"
    ${EndIf}
!macroend

Function onInstallMode
    !insertmacro findWorkingFolder
    ${If} $GivenFolder != ""
        StrCpy $INSTDIR $GivenFolder
    ${EndIf}
    ; Where a user's own programs are since Windows 7, unless an older installation or /D says something else.
    ${If} $MultiUser.InstallMode == "CurrentUser"
    ${AndIf} $INSTDIR == "$LOCALAPPDATA\${NAME}"
        StrCpy $INSTDIR "$LOCALAPPDATA\Programs\${NAME}"
    ${EndIf}
FunctionEnd

Function un.onInstallMode
    !insertmacro findWorkingFolder
FunctionEnd

; What an option of the command line in $0 says, in RESULT: 1 or 0; empty where it is not there.
!macro readChoice OPTION RESULT
    ClearErrors
    ${GetOptions} $0 "${OPTION}" $1
    ${IfNot} ${Errors}
        ${If} $1 == ""
        ${OrIf} $1 == "=1"
            StrCpy ${RESULT} 1
        ${ElseIf} $1 == "=0"
            StrCpy ${RESULT} 0
        ${Else}
            MessageBox MB_OK|MB_ICONSTOP "$(unknownChoice)" /SD IDOK
            SetErrorLevel 6
            Abort
        ${EndIf}
    ${EndIf}
!macroend

!macro readMayClose
    ClearErrors
    ${GetOptions} $0 "/CLOSE" $1
    ${IfNot} ${Errors}
        StrCpy $MayClose 1
    ${EndIf}
!macroend

Function .onInit
    ${IfNot} ${RunningX64}
        MessageBox MB_OK|MB_ICONSTOP "$(needs64Bit)" /SD IDOK
        Abort
    ${EndIf}
    SetRegView 64
    ; What /D said, before the kind of installation says something else.
    ${If} $INSTDIR != "$PROGRAMFILES64\${NAME}"
        StrCpy $GivenFolder $INSTDIR
    ${EndIf}
    ${GetParameters} $0
    ClearErrors
    ${GetOptions} $0 "/CAMERAS=" $ChosenCameras
    ${IfNot} ${Errors}
    ${AndIf} $ChosenCameras != "simulated"
    !ifdef GENICAM
    ${AndIf} $ChosenCameras != "genicam"
    !endif
    ${AndIf} $ChosenCameras != "maker"
        MessageBox MB_OK|MB_ICONSTOP "$(unknownCameras)" /SD IDOK
        SetErrorLevel 6
        Abort
    ${EndIf}
    !insertmacro readChoice "/AUTOSTART" $ChosenAutostart
    !insertmacro readChoice "/DESKTOP" $ChosenDesktop
    !insertmacro readMayClose
    !insertmacro MULTIUSER_INIT
FunctionEnd

; A folder with other things in it is not the program's: $0 is 1. Its own has the program, or the camera library that its
; uninstaller left.
!macro belongsToOthers
    ${DirState} "$INSTDIR" $0
    ${If} ${FileExists} "$INSTDIR\bivista.exe"
    ${OrIf} ${FileExists} "$INSTDIR\KVCap2.dll"
    ${OrIf} ${FileExists} "$INSTDIR\KVCap2-maker.dll"
        StrCpy $0 0
    ${EndIf}
!macroend

Function leaveDirectory
    !insertmacro belongsToOthers
    ${If} $0 = 1
        StrCpy $1 "$INSTDIR\${NAME}"
        MessageBox MB_OK|MB_ICONINFORMATION "$(otherFiles)"
        ; The page reads its field again when it is left the next time.
        SendMessage $mui.DirectoryPage.Directory ${WM_SETTEXT} 0 "STR:$1"
        Abort
    ${EndIf}
FunctionEnd

Function un.onInit
    SetRegView 64
    ${GetParameters} $0
    !insertmacro readMayClose
    ; There may be an installation for this user and one for all. The one to be removed is that around this program.
    StrCpy $GivenFolder $INSTDIR
    !insertmacro MULTIUSER_UNINIT
    ReadRegStr $0 HKCU "${OWN_KEY}" "Folder"
    ReadRegStr $1 HKLM "${OWN_KEY}" "Folder"
    ${If} $0 == $GivenFolder
        Call un.MultiUser.InstallMode.CurrentUser
    ${ElseIf} $1 == $GivenFolder
        Call un.MultiUser.InstallMode.AllUsers
    ${EndIf}
    StrCpy $INSTDIR $GivenFolder
FunctionEnd

; Without a window a file that cannot be written is passed over.
!macro endIfIncomplete
    ${If} ${Errors}
        SetErrorLevel 4
        Abort "$(isIncomplete)"
    ${EndIf}
!macroend

; Time and length of a file, in $0; empty if there is none.
!macro identify FILE
    StrCpy $0 ""
    ${If} ${FileExists} "${FILE}"
        ${GetTime} "${FILE}" "MS" $1 $2 $3 $4 $5 $6 $7
        StrCpy $0 "$3-$2-$1 $5:$6:$7"
        ClearErrors
        FileOpen $1 "${FILE}" r
        ${IfNot} ${Errors}
            FileSeek $1 0 END $2
            FileClose $1
            StrCpy $0 "$0 $2"
        ${EndIf}
    ${EndIf}
!macroend

; Whose the camera library is that lies there, in $OldCameras: "maker" if it is not ours; where none lies, what was once
; chosen, if anything was. Ours is one of those in the program's folders, put there by the installer or by the user, or known by the
; time of its file, which was noted when it was installed.
!macro findLibrary
    ReadRegStr $OldCameras SHCTX "${OWN_KEY}" "Cameras"
    ${If} ${FileExists} "$INSTDIR\KVCap2.dll"
        !insertmacro identify "$INSTDIR\KVCap2.dll"
        StrCpy $9 $0
        ${GetTime} "$INSTDIR\KVCap2.dll" "MS" $1 $2 $3 $4 $5 $6 $7
        ReadRegStr $8 SHCTX "${OWN_KEY}" "Simulator"
        ${If} $8 != "$3-$2-$1 $5:$6:$7"
            StrCpy $OldCameras "maker"
        ${ElseIf} $OldCameras != "genicam"
            StrCpy $OldCameras "simulated"
        ${EndIf}
        !insertmacro identify "$INSTDIR\simulator\KVCap2.dll"
        ${If} $0 == $9
            StrCpy $OldCameras "simulated"
        ${EndIf}
        !insertmacro identify "$INSTDIR\lib\genicam\KVCap2.dll"
        ${If} $0 == $9
            StrCpy $OldCameras "genicam"
        ${EndIf}
    ${EndIf}
!macroend

; What was chosen, else what was there, else simulated ones.
!macro chooseCameras
    !insertmacro findLibrary
    StrCpy $Cameras $ChosenCameras
    ${If} $Cameras == ""
        StrCpy $Cameras $OldCameras
    ${EndIf}
    !ifndef GENICAM
    ${If} $Cameras == "genicam"
        StrCpy $Cameras "simulated"
    ${EndIf}
    !endif
    ${If} $Cameras == ""
        StrCpy $Cameras "simulated"
    ${EndIf}
!macroend

Function showCameras
    !insertmacro chooseCameras
    !insertmacro MUI_HEADER_TEXT "$(cameras)" "$(whichCameras)"
    nsDialogs::Create 1018
    Pop $0
    ${NSD_CreateFirstRadioButton} 0 4u 100% 12u "$(simulatedCameras)"
    Pop $SimulatedButton
    StrCpy $0 $SimulatedButton
    !ifdef GENICAM
    ${NSD_CreateAdditionalRadioButton} 0 22u 100% 12u "$(genicamCameras)"
    Pop $GenicamButton
    ${If} $Cameras == "genicam"
        StrCpy $0 $GenicamButton
    ${EndIf}
    !endif
    ${NSD_CreateAdditionalRadioButton} 0 40u 100% 12u "$(makersCameras)"
    Pop $MakersButton
    ${If} $Cameras == "maker"
        StrCpy $0 $MakersButton
    ${EndIf}
    ${NSD_Check} $0
    nsDialogs::Show
FunctionEnd

Function leaveCameras
    StrCpy $ChosenCameras "simulated"
    !ifdef GENICAM
    ${NSD_GetState} $GenicamButton $0
    ${If} $0 = ${BST_CHECKED}
        StrCpy $ChosenCameras "genicam"
    ${EndIf}
    !endif
    ${NSD_GetState} $MakersButton $0
    ${If} $0 = ${BST_CHECKED}
        StrCpy $ChosenCameras "maker"
    ${EndIf}
FunctionEnd

!include "installer-start.nsh"

; Cameras send their pictures unasked, so Windows' firewall has to let them in. The result in $0, 0 = done.
!macro removeFirewallRule
    nsExec::Exec '"$SYSDIR\netsh.exe" advfirewall firewall delete rule name="${NAME}" program="$INSTDIR\bivista.exe"'
    Pop $0
!macroend
!macro addFirewallRule
    nsExec::Exec '"$SYSDIR\netsh.exe" advfirewall firewall add rule name="${NAME}" dir=in action=allow \
        program="$INSTDIR\bivista.exe" protocol=udp'
    Pop $0
!macroend

Section
    SetRegView 64
    StrCpy $R0 $INSTDIR
    Call endIfRunning
    !insertmacro belongsToOthers
    ${If} $0 = 1
        SetErrorLevel 5
        Abort "$(otherFiles)"
    ${EndIf}
    !insertmacro chooseCameras
    !insertmacro chooseStart
    ; An older version takes its files with it, since this one may not have all of them. (Its uninstaller stays: with _?= it
    ; runs where it is.) So does one in another folder, which would be nobody's otherwise.
    ReadRegStr $9 SHCTX "${OWN_KEY}" "Folder"
    ${If} $9 != ""
    ${AndIf} ${FileExists} "$9\uninstall.exe"
        StrCpy $R0 $9
        Call endIfRunning
        ExecWait '"$9\uninstall.exe" /S /$MultiUser.InstallMode _?=$9' $8
        ; The program in another folder may be running, or belong to somebody else.
        ${If} $8 <> 0
            SetErrorLevel $8
            Abort "$(isRunning)"
        ${EndIf}
        ${If} $9 != $INSTDIR
            Delete "$9\uninstall.exe"
            RMDir "$9"
        ${EndIf}
    ${EndIf}

    ClearErrors
    SetOutPath "$INSTDIR"
    File /r /x KVCap2.dll /x *.ini /x mark*.txt /x lang /x lib /x simulator "${STAGE}\*.*"
    SetOutPath "$INSTDIR\simulator"
    File "${STAGE}\simulator\*.*"
    !ifdef GENICAM
    SetOutPath "$INSTDIR\lib\genicam"
    File "${STAGE}\lib\genicam\*.*"
    !endif
    !insertmacro endIfIncomplete
    SetOutPath "$INSTDIR"
    ${If} $OldCameras == "maker"
    ${AndIf} $Cameras != "maker"
        ; Aside, unless another one lies there already: then it is kept where it is.
        Rename "$INSTDIR\KVCap2.dll" "$INSTDIR\KVCap2-maker.dll"
        ${If} ${FileExists} "$INSTDIR\KVCap2.dll"
            StrCpy $Cameras "maker"
        ${EndIf}
    ${ElseIf} $OldCameras != "maker"
    ${AndIf} $Cameras == "maker"
        Delete "$INSTDIR\KVCap2.dll"
        Rename "$INSTDIR\KVCap2-maker.dll" "$INSTDIR\KVCap2.dll"
    ${EndIf}
    ClearErrors
    ${If} $Cameras == "maker"
        ${If} ${FileExists} "$INSTDIR\KVCap2.dll"
            StrCpy $LibraryNote "$(libraryIsKept)"
        ${Else}
            StrCpy $LibraryNote "$(libraryIsMissing)"
        ${EndIf}
        DetailPrint "$LibraryNote"
    ${Else}
        !ifdef GENICAM
        ${If} $Cameras == "genicam"
            File "${STAGE}\lib\genicam\KVCap2.dll"
        ${Else}
            File "${STAGE}\simulator\KVCap2.dll"
        ${EndIf}
        !else
        File "${STAGE}\simulator\KVCap2.dll"
        !endif
        !insertmacro endIfIncomplete
        ${GetTime} "$INSTDIR\KVCap2.dll" "MS" $1 $2 $3 $4 $5 $6 $7
        WriteRegStr SHCTX "${OWN_KEY}" "Simulator" "$3-$2-$1 $5:$6:$7"
    ${EndIf}
    WriteRegStr SHCTX "${OWN_KEY}" "Cameras" $Cameras
    ${If} $MultiUser.InstallMode == "AllUsers"
        !insertmacro removeFirewallRule
        ${If} $Cameras == "genicam"
            !insertmacro addFirewallRule
            ${If} $0 != 0
                StrCpy $LibraryNote "$(noFirewallRule)"
            ${EndIf}
        ${EndIf}
    ${ElseIf} $Cameras == "genicam"
        ; Only who may install for all of them may tell the firewall.
        StrCpy $LibraryNote "$(noFirewallRule)"
    ${EndIf}

    ; What a user has there is the user's; the texts belong to the program.
    CreateDirectory "$WorkingFolder"
    ${If} $MultiUser.InstallMode == "AllUsers"
        ; Every user of the machine works in the one folder (S-1-5-32-545: the group Users, whatever its name here).
        nsExec::ExecToLog '"$SYSDIR\icacls.exe" "$WorkingFolder" /grant *S-1-5-32-545:(OI)(CI)M'
        Pop $0
        ${If} $0 != 0
            DetailPrint "icacls: $0"
        ${EndIf}
    ${EndIf}
    ClearErrors
    SetOutPath "$WorkingFolder\lang"
    File "${STAGE}\lang\*.qm"
    !insertmacro endIfIncomplete
    SetOutPath "$WorkingFolder"
    SetOverwrite off
    ${IfNot} ${FileExists} "$WorkingFolder\setting.ini"
        ${If} $Cameras == "simulated"
            ; They are about the simulated cameras.
            File "${STAGE}\*.ini"
            File "${STAGE}\mark*.txt"
        ${Else}
            ; Without it a camera's colours are shown grey.
            WriteINIStr "$WorkingFolder\setting.ini" File Color 1
        ${EndIf}
        ; In the language of whoever installs: without it the program is Chinese, as its texts are there.
        ${If} $LANGUAGE = ${LANG_SIMPCHINESE}
            WriteINIStr "$WorkingFolder\setting.ini" File Lang 2
        ${Else}
            WriteINIStr "$WorkingFolder\setting.ini" File Lang 1
        ${EndIf}
        !insertmacro endIfIncomplete
    ${EndIf}
    SetOverwrite on
    DetailPrint "$(workingFolderText)"

    ; A shortcut starts its program in the output path of the moment. These two can be copied and given another folder for
    ; another station. What starts with Windows says the folder itself too, as it is what nobody looks at.
    CreateShortCut "$SMPROGRAMS\${NAME}.lnk" "$INSTDIR\bivista.exe"
    ${If} $OnDesktop = 1
        CreateShortCut "$DESKTOP\${NAME}.lnk" "$INSTDIR\bivista.exe"
    ${EndIf}
    ${If} $WithWindows = 1
        CreateDirectory "$SMSTARTUP"
        CreateShortCut "$SMSTARTUP\${NAME}.lnk" "$INSTDIR\bivista.exe" '--folder "$WorkingFolder"'
    ${EndIf}
    WriteRegStr SHCTX "${OWN_KEY}" "Desktop" $OnDesktop
    WriteRegStr SHCTX "${OWN_KEY}" "Autostart" $WithWindows

    SetOutPath "$INSTDIR"
    WriteUninstaller "$INSTDIR\uninstall.exe"
    WriteRegStr SHCTX "${OWN_KEY}" "Folder" "$INSTDIR"
    WriteRegStr SHCTX "${OWN_KEY}" "WorkingFolder" "$WorkingFolder"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayName" "${NAME}"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "Publisher" "${PUBLISHER}"
    ; What helps is on this PC.
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "HelpLink" "$INSTDIR\README.txt"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "Readme" "$INSTDIR\README.txt"
    ${GetTime} "" "L" $0 $1 $2 $3 $4 $5 $6
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "InstallDate" "$2$1$0"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\bivista.exe"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode'
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode /S'
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoRepair" 1
    ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "EstimatedSize" $0
    ; A station without an operator goes on. (In a window the last page asks.)
    ${If} ${Silent}
    ${AndIf} $HasClosed = 1
    ${AndIf} $WithWindows = 1
        Call startProgram
    ${EndIf}
SectionEnd

Function startProgram
    SetOutPath "$WorkingFolder"
    ; Not with the installer's rights.
    Exec '"$WINDIR\explorer.exe" "$SMPROGRAMS\${NAME}.lnk"'
FunctionEnd

Section Uninstall
    StrCpy $R0 $INSTDIR
    Call un.endIfRunning
    !insertmacro findLibrary
    ${If} $OldCameras == "maker"
        DetailPrint "$(libraryIsKept)"
    ${Else}
        Delete "$INSTDIR\KVCap2.dll"
    ${EndIf}
    ${If} $MultiUser.InstallMode == "AllUsers"
        !insertmacro removeFirewallRule
    ${EndIf}
    ; Every file by its name: a folder that was chosen may hold other things.
    !include "${FILES}"
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
    ; Another installation has these now, if this one was only copied here.
    ReadRegStr $0 SHCTX "${OWN_KEY}" "Folder"
    ${If} $0 == $INSTDIR
        Delete "$SMPROGRAMS\${NAME}.lnk"
        ReadRegStr $0 SHCTX "${OWN_KEY}" "Desktop"
        ${If} $0 = 1
            Delete "$DESKTOP\${NAME}.lnk"
        ${EndIf}
        ReadRegStr $0 SHCTX "${OWN_KEY}" "Autostart"
        ${If} $0 = 1
            Delete "$SMSTARTUP\${NAME}.lnk"
        ${EndIf}
        DeleteRegKey SHCTX "${UNINSTALL_KEY}"
        DeleteRegKey SHCTX "${OWN_KEY}"
    ${EndIf}
    DetailPrint "$(workingFolderStays)"
SectionEnd
