// A tool in Go that ends in order when the launcher asks it to. Built with Go 1.19 or later by
//
//	GOOS=windows GOARCH=amd64 CGO_ENABLED=0 go build go_tool.go
//
// Tried with Go 1.19.8 under Wine 8.0, in a launcher's service and without a launcher.
package main

import (
	"fmt"
	"os"
	"strconv"
	"syscall"
	"time"
)

// Calls back once, when this process is to end; never, if there is no launcher.
func listenForStop(onStop func()) {
	const sqosPresentAnonymous = 0x00100000 // whoever made the pipe can't act as this user
	name, _ := syscall.UTF16PtrFromString(`\\.\pipe\zqLauncher_` + strconv.Itoa(os.Getpid()))
	pipe, err := syscall.CreateFile(name, syscall.GENERIC_READ, 0, nil, syscall.OPEN_EXISTING,
		sqosPresentAnonymous, 0)
	if err == nil {
		syscall.Read(pipe, make([]byte, 7)) // the word or an error: both are the request
		onStop()
	}
}

func main() {
	if len(os.Args) > 1 { // "go_tool 500" works for 500 ms and ends with 6
		length, _ := time.ParseDuration(os.Args[1] + "ms")
		time.AfterFunc(length, func() { os.Exit(6) })
	}
	stop := make(chan bool, 1)
	go listenForStop(func() { stop <- true })
	fmt.Println("working")
	for len(stop) == 0 {
		time.Sleep(20 * time.Millisecond) // a piece of work
	}
	fmt.Println("asked to end, all is saved") // and with 0: the service reports a tool's exit code
}
