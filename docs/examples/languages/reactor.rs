//! The reactor from Rust: a pipe that is watched.
//!
//!     reactor <records.json>
//!
//! The functions are declared by hand here; `bindgen userlib.h` writes all of them. The sizes of records come from
//! records.json, so that one program source goes for every processor.
use std::os::raw::{c_int, c_void};
use std::{env, fs, ptr};

#[link(name = "userlib")]
extern "C" {
    fn NUV_Select_construct(this: *mut c_void) -> i32;
    fn NUV_Select_destruct(this: *mut c_void);
    fn NUV_Select_process(this: *mut c_void, bound: *mut c_void) -> i32;
    fn NUV_Select_setReadExternal(
        this: *mut c_void,
        fd: i32,
        context: *mut c_void,
        number: u32,
        callback: extern "C" fn(*mut c_void, c_int, u32) -> i32,
    ) -> *mut c_void;
    fn NUV_Pipe_construct(this: *mut c_void) -> i32;
    fn NUV_Pipe_destruct(this: *mut c_void);
    fn NUV_Pipe_readFd(this: *const c_void) -> i32;
    fn NUV_Pipe_read(this: *mut c_void, buffer: *mut c_void, size: u32) -> i32;
    fn NUV_Pipe_write(this: *mut c_void, buffer: *const c_void, size: u32) -> i32;
}

/// Storage for a record, which must not move once it is constructed.
struct Record(Vec<u64>);

impl Record {
    fn new(layout: &str, name: &str) -> Record {
        let record = layout.split(&format!("\"{}\": {{", name)).nth(1).expect("no such record");
        let digits = record.split("\"size\": ").nth(1).expect("no size");
        let size: usize = digits.split(',').next().unwrap().parse().expect("no number");
        Record(vec![0; (size + 7) / 8])
    }

    fn address(&mut self) -> *mut c_void {
        self.0.as_mut_ptr() as *mut c_void
    }
}

extern "C" fn on_event(pipe: *mut c_void, _fd: c_int, number: u32) -> i32 {
    let mut text = [0u8; 64];
    let count = unsafe { NUV_Pipe_read(pipe, text.as_mut_ptr() as *mut c_void, 64) };
    let words = String::from_utf8_lossy(&text[..count.max(0) as usize]);
    println!("{} bytes through watch {}: {}", count, number, words);
    0
}

fn main() {
    let path = env::args().nth(1).expect("usage: reactor <records.json>");
    let layout = fs::read_to_string(path).expect("cannot read the layout");
    let mut select = Record::new(&layout, "Select");
    let mut pipe = Record::new(&layout, "Pipe");
    let (select, pipe) = (select.address(), pipe.address());
    unsafe {
        NUV_Select_construct(select);
        NUV_Pipe_construct(pipe);
        NUV_Select_setReadExternal(select, NUV_Pipe_readFd(pipe), pipe, 7, on_event);
        NUV_Pipe_write(pipe, b"hello".as_ptr() as *const c_void, 5);
        NUV_Select_process(select, ptr::null_mut());
        NUV_Select_destruct(select);
        NUV_Pipe_destruct(pipe);
    }
}
