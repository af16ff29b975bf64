; SPDX-License-Identifier: Apache-2.0
; Of the installer: a program that runs in a folder, and how it is closed. Needs its texts and $MayClose, and sets $HasClosed.

; A program that runs cannot be written to: $1 is 1. The errors flag says nothing afterwards.
!macro isRunning FOLDER
    StrCpy $1 0
    ${If} ${FileExists} "${FOLDER}\bivista.exe"
        ClearErrors
        FileOpen $0 "${FOLDER}\bivista.exe" a
        ${If} ${Errors}
            StrCpy $1 1
        ${Else}
            FileClose $0
        ${EndIf}
    ${EndIf}
    ClearErrors
!macroend

; Asks every window of the program that runs from the folder in $R0 to close, as a press on its X does. Those of boxes and
; dialogs too, since they keep the main window from closing.
!macro declareCloseWindows UN
Function ${UN}closeWindows
    Push $1
    Push $2
    Push $3
    Push $4
    Push $5
    Push $6
    ; Its name may be a short one.
    System::Call 'kernel32::GetLongPathNameW(w "$R0\bivista.exe", w .r6, i ${NSIS_MAX_STRLEN}) i .r1'
    ${If} $1 = 0
        StrCpy $6 "$R0\bivista.exe"
    ${EndIf}
    StrCpy $1 0
    ${Do}
        System::Call 'user32::FindWindowExW(p 0, p r1, p 0, p 0) p .r1'
        ${If} $1 P= 0
            ${ExitDo}
        ${EndIf}
        System::Call 'user32::IsWindowVisible(p r1) i .r2'
        ${If} $2 <> 0
            System::Call 'user32::GetWindowThreadProcessId(p r1, *i .r3) i'
            ; PROCESS_QUERY_LIMITED_INFORMATION
            System::Call 'kernel32::OpenProcess(i 0x1000, i 0, i r3) p .r4'
            ${If} $4 P<> 0
                StrCpy $5 ""
                System::Call 'kernel32::QueryFullProcessImageNameW(p r4, i 0, w .r5, *i ${NSIS_MAX_STRLEN}) i'
                System::Call 'kernel32::CloseHandle(p r4)'
                ${If} $5 == $6
                    System::Call 'user32::PostMessageW(p r1, i ${WM_CLOSE}, p 0, p 0) i'
                ${EndIf}
            ${EndIf}
        ${EndIf}
    ${Loop}
    Pop $6
    Pop $5
    Pop $4
    Pop $3
    Pop $2
    Pop $1
FunctionEnd
!macroend
!insertmacro declareCloseWindows ""
!insertmacro declareCloseWindows "un."

; Goes on when no program runs from the folder in $R0, after it has closed one if it may; ends with 3 otherwise.
!macro declareEndIfRunning UN
Function ${UN}endIfRunning
    again:
    !insertmacro isRunning "$R0"
    ${If} $1 = 0
        Return
    ${EndIf}
    ${If} $MayClose != 1
        MessageBox MB_OKCANCEL|MB_ICONEXCLAMATION "$(mayClose)" /SD IDCANCEL IDOK close
        SetErrorLevel 3
        Abort "$(isRunning)"
    ${EndIf}
    close:
    DetailPrint "$(isClosing)"
    StrCpy $R1 0
    ${Do}
        ; Again and again: behind a box that was closed there may be another.
        IntOp $R2 $R1 % 4
        ${If} $R2 = 0
            Call ${UN}closeWindows
        ${EndIf}
        Sleep 500
        IntOp $R1 $R1 + 1
        !insertmacro isRunning "$R0"
        ${If} $1 = 0
            StrCpy $HasClosed 1
            Return
        ${EndIf}
        IntOp $R2 $R1 / 2
    ${LoopUntil} $R2 >= ${CLOSE_LIMIT}
    MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "$(isRunning)" /SD IDCANCEL IDRETRY again
    SetErrorLevel 3
    Abort "$(isRunning)"
FunctionEnd
!macroend
!insertmacro declareEndIfRunning ""
!insertmacro declareEndIfRunning "un."
