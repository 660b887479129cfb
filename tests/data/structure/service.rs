//! A small web service with a background cleaner.
use std::collections::HashMap;
use std::sync::{Arc, Mutex};
use actix_web::{get, post, web, App, HttpServer, Responder};
use crate::store::Session;

mod store;

/// Sessions by token.
#[derive(Default, Clone)]
pub struct Sessions {
    inner: Arc<Mutex<HashMap<String, Session>>>,
    pub(crate) limit: usize,
}

pub enum Event {
    Login { user: String },
    Logout(String),
    Expired,
}

pub trait Store: Send + Sync {
    fn get(&self, token: &str) -> Option<Session>;
    fn len(&self) -> usize { 0 }
}

impl Sessions {
    pub fn new(limit: usize) -> Self {
        Sessions { inner: Arc::default(), limit }
    }

    pub fn insert(&self, token: String, session: Session) {
        let mut map = self.inner.lock().unwrap();
        if map.len() < self.limit {
            map.insert(token, session);
        }
    }

    fn purge(&self) {
        self.inner.lock().unwrap().retain(|_, s| !s.expired());
    }
}

impl Store for Sessions {
    fn get(&self, token: &str) -> Option<Session> {
        self.inner.lock().unwrap().get(token).cloned()
    }
}

const MAX_SESSIONS: usize = 10_000;

#[get("/sessions/{token}")]
async fn show(path: web::Path<String>, sessions: web::Data<Sessions>) -> impl Responder {
    format!("{:?}", sessions.get(&path.into_inner()))
}

#[post("/login")]
async fn login(sessions: web::Data<Sessions>) -> impl Responder {
    sessions.insert(new_token(), Session::default());
    "ok"
}

fn new_token() -> String {
    format!("{:x}", rand::random::<u128>())
}

fn clean(sessions: Sessions) {
    loop {
        std::thread::sleep(std::time::Duration::from_secs(60));
        sessions.purge();
    }
}

#[actix_web::main]
async fn main() -> std::io::Result<()> {
    let sessions = Sessions::new(MAX_SESSIONS);
    let cleaner = sessions.clone();
    std::thread::spawn(move || clean(cleaner));
    ctrlc::set_handler(on_interrupt).expect("handler");
    HttpServer::new(move || App::new().app_data(web::Data::new(sessions.clone())).service(show).service(login))
        .bind(("127.0.0.1", 8080))?
        .run()
        .await
}

fn on_interrupt() {
    eprintln!("bye");
}

#[cfg(test)]
mod tests {
    use super::*;

    #[test]
    fn tokens_differ() {
        assert_ne!(new_token(), new_token());
    }

    #[bench]
    fn bench_insert(b: &mut test::Bencher) {
        let s = Sessions::new(10);
        b.iter(|| s.insert(new_token(), Session::default()));
    }
}
