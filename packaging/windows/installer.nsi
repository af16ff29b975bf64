; The installer: bivista-VERSION-win64-setup.exe. Made by packaging/windows/build, which gives these on the command line:
;   VERSION   "0.1.0"
;   STAGE     the folder of the portable archive
;   ICON      the application's icon
;   OUTPUT    the file to make
;   FILES     a list of what the uninstaller removes
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
VIAddVersionKey LegalCopyright ""

Var WorkingFolder
Var GivenFolder ; by /D
Var LibraryNote

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
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
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English
!insertmacro MUI_LANGUAGE SimpChinese

LangString isRunning ${LANG_ENGLISH} "${NAME} is running. Close it, then try again."
LangString isRunning ${LANG_SIMPCHINESE} "${NAME} 正在运行。请先关闭它，然后重试。"
LangString workingFolderText ${LANG_ENGLISH} "${NAME} keeps its settings, marks and pictures in $WorkingFolder"
LangString workingFolderText ${LANG_SIMPCHINESE} "${NAME} 的设置、标记和图像保存在 $WorkingFolder"
LangString otherFiles ${LANG_ENGLISH} "$INSTDIR has other files in it. Press Install again to put ${NAME} into $1."
LangString otherFiles ${LANG_SIMPCHINESE} "$INSTDIR 中有其他文件。再次按“安装”将把 ${NAME} 安装到 $1。"
LangString uninstallText ${LANG_ENGLISH} "The program is removed. Settings, marks and pictures stay in $WorkingFolder"
LangString uninstallText ${LANG_SIMPCHINESE} "将删除程序。设置、标记和图像保留在 $WorkingFolder"
LangString workingFolderStays ${LANG_ENGLISH} "Settings, marks and pictures stay in $WorkingFolder"
LangString workingFolderStays ${LANG_SIMPCHINESE} "设置、标记和图像保留在 $WorkingFolder"
LangString libraryIsKept ${LANG_ENGLISH} "Your own camera library (KVCap2.dll) was kept."
LangString libraryIsKept ${LANG_SIMPCHINESE} "已保留您自己的相机库 (KVCap2.dll)。"
LangString isIncomplete ${LANG_ENGLISH} "Not everything could be written."
LangString isIncomplete ${LANG_SIMPCHINESE} "部分文件无法写入。"
LangString needs64Bit ${LANG_ENGLISH} "${NAME} needs 64-bit Windows."
LangString needs64Bit ${LANG_SIMPCHINESE} "${NAME} 需要 64 位 Windows。"


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
    !insertmacro MULTIUSER_INIT
FunctionEnd

; A folder with other things in it is not the program's: $0 is 1. Its own has the program, or the camera library that its
; uninstaller left.
!macro belongsToOthers
    ${DirState} "$INSTDIR" $0
    ${If} ${FileExists} "$INSTDIR\bivista.exe"
    ${OrIf} ${FileExists} "$INSTDIR\KVCap2.dll"
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

; A program that runs cannot be written to.
!macro endIfRunning
    again:
    ${If} ${FileExists} "$INSTDIR\bivista.exe"
        ClearErrors
        FileOpen $0 "$INSTDIR\bivista.exe" a
        ${If} ${Errors}
            MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "$(isRunning)" /SD IDCANCEL IDRETRY again
            SetErrorLevel 3
            Abort "$(isRunning)"
        ${EndIf}
        FileClose $0
    ${EndIf}
!macroend

; Without a window a file that cannot be written is passed over.
!macro endIfIncomplete
    ${If} ${Errors}
        SetErrorLevel 4
        Abort "$(isIncomplete)"
    ${EndIf}
!macroend

; The camera library that lies there may be the maker's, put in the simulator's place. Ours is known by the time of its
; file, which was noted when it was installed. Result in $0: 1 if the file may be replaced or removed.
!macro isLibraryOurs
    StrCpy $0 1
    ${If} ${FileExists} "$INSTDIR\KVCap2.dll"
        ${GetTime} "$INSTDIR\KVCap2.dll" "MS" $1 $2 $3 $4 $5 $6 $7
        ReadRegStr $8 SHCTX "${OWN_KEY}" "Simulator"
        ${If} $8 != "$3-$2-$1 $5:$6:$7"
            StrCpy $0 0
        ${EndIf}
    ${EndIf}
!macroend

Section
    SetRegView 64
    !insertmacro endIfRunning
    !insertmacro belongsToOthers
    ${If} $0 = 1
        SetErrorLevel 5
        Abort "$(otherFiles)"
    ${EndIf}
    !insertmacro isLibraryOurs
    ; An older version takes its files with it, since this one may not have all of them. (Its uninstaller stays: with _?= it
    ; runs where it is.) So does one in another folder, which would be nobody's otherwise.
    ReadRegStr $9 SHCTX "${OWN_KEY}" "Folder"
    ${If} $9 != ""
    ${AndIf} ${FileExists} "$9\uninstall.exe"
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
    File /r /x KVCap2.dll /x *.ini /x mark*.txt /x lang /x simulator "${STAGE}\*.*"
    SetOutPath "$INSTDIR\simulator"
    File "${STAGE}\simulator\*.*"
    !insertmacro endIfIncomplete
    ${If} $0 = 1
        SetOutPath "$INSTDIR"
        File "${STAGE}\KVCap2.dll"
        !insertmacro endIfIncomplete
        ${GetTime} "$INSTDIR\KVCap2.dll" "MS" $1 $2 $3 $4 $5 $6 $7
        WriteRegStr SHCTX "${OWN_KEY}" "Simulator" "$3-$2-$1 $5:$6:$7"
    ${Else}
        StrCpy $LibraryNote "$(libraryIsKept)"
        DetailPrint "$LibraryNote"
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
        File "${STAGE}\*.ini"
        File "${STAGE}\mark*.txt"
        !insertmacro endIfIncomplete
        ${If} $LANGUAGE = ${LANG_SIMPCHINESE}
            WriteINIStr "$WorkingFolder\setting.ini" File Lang 2
        ${EndIf}
    ${EndIf}
    SetOverwrite on
    DetailPrint "$(workingFolderText)"

    ; A shortcut starts its program in the output path of the moment.
    CreateShortCut "$SMPROGRAMS\${NAME}.lnk" "$INSTDIR\bivista.exe"

    SetOutPath "$INSTDIR"
    WriteUninstaller "$INSTDIR\uninstall.exe"
    WriteRegStr SHCTX "${OWN_KEY}" "Folder" "$INSTDIR"
    WriteRegStr SHCTX "${OWN_KEY}" "WorkingFolder" "$WorkingFolder"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayName" "${NAME}"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\bivista.exe"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode'
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode /S'
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoRepair" 1
    ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "EstimatedSize" $0
SectionEnd

Function startProgram
    SetOutPath "$WorkingFolder"
    ; Not with the installer's rights.
    Exec '"$WINDIR\explorer.exe" "$SMPROGRAMS\${NAME}.lnk"'
FunctionEnd

Section Uninstall
    !insertmacro endIfRunning
    !insertmacro isLibraryOurs
    ${If} $0 = 1
        Delete "$INSTDIR\KVCap2.dll"
    ${Else}
        DetailPrint "$(libraryIsKept)"
    ${EndIf}
    ; Every file by its name: a folder that was chosen may hold other things.
    !include "${FILES}"
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
    ; Another installation has these now, if this one was only copied here.
    ReadRegStr $0 SHCTX "${OWN_KEY}" "Folder"
    ${If} $0 == $INSTDIR
        Delete "$SMPROGRAMS\${NAME}.lnk"
        DeleteRegKey SHCTX "${UNINSTALL_KEY}"
        DeleteRegKey SHCTX "${OWN_KEY}"
    ${EndIf}
    DetailPrint "$(workingFolderStays)"
SectionEnd
